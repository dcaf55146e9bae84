#pragma once

#include "workflows/deletion_counter.h"

#include <QString>

// The texts of the result sheets. Their grammar is built from the counts by
// hand and keeps two deliberate oddities that users know: the verb after
// "There" follows the deleted count, and a scan summary always says "were"
// and "had".
class ResultTexts {
public:
    static QString operationCompleteHeadline();
    static QString finishedScanningHeadline();
    // "%i item%@ %@ deleted. There %@ %li error%@."
    static QString deletionSummary(const DeletionCounter& counter);
    // "%u file%@ were scanned. %u file%@ had errors."
    static QString scanSummary(quint32 filesScanned, quint32 filesWithErrors);
};
