#include "util/natural_compare.h"

#include <QCollator>

namespace sv {

namespace {

// Qt's collator ignores numeric mode in the C locale, which is what a bare
// session or a CI runner has; English collation keeps names in natural order
// there.
QLocale collationLocale() {
    const QLocale system = QLocale::system();
    if (system.language() == QLocale::C)
        return QLocale(QLocale::English, QLocale::UnitedStates);
    return system;
}

QCollator makeCollator() {
    QCollator collator(collationLocale());
    collator.setNumericMode(true);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    return collator;
}

} // namespace

int localizedStandardCompare(const QString& a, const QString& b) {
    // A collator is not safe to share between threads; each keeps its own.
    thread_local const QCollator collator = makeCollator();
    return collator.compare(a, b);
}

} // namespace sv
