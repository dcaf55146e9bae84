#include "workflows/result_texts.h"

using namespace Qt::StringLiterals;

namespace {

QString pluralS(quint64 count) {
    return count == 1 ? QString() : u"s"_s;
}

} // namespace

QString ResultTexts::operationCompleteHeadline() {
    return u"Operation Complete"_s;
}

QString ResultTexts::finishedScanningHeadline() {
    return u"Finished Scanning Files"_s;
}

QString ResultTexts::deletionSummary(const DeletionCounter& counter) {
    // Deliberately both verbs follow the deleted count.
    const QString verb = counter.deleted == 1 ? u"was"_s : u"were"_s;
    return u"%1 item%2 %3 deleted. There %4 %5 error%6."_s.arg(
        QString::number(counter.deleted), pluralS(counter.deleted), verb, verb,
        QString::number(counter.errors), pluralS(counter.errors));
}

QString ResultTexts::scanSummary(quint32 filesScanned, quint32 filesWithErrors) {
    // Deliberately "were" and "had" whatever the counts.
    return u"%1 file%2 were scanned. %3 file%4 had errors."_s.arg(
        QString::number(filesScanned), pluralS(filesScanned), QString::number(filesWithErrors),
        pluralS(filesWithErrors));
}
