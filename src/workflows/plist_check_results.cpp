#include "workflows/plist_check_results.h"

#include "util/path_utils.h"

using namespace Qt::StringLiterals;

namespace {

const QString kEmptyDataMessage = u"Cannot parse a NULL or zero-length data"_s;
const QString kDetailMarker = u" (Error Domain="_s;

} // namespace

bool PlistCheckResults::isExcludedFileName(const QString& fileName) {
    static const QStringList excluded = {
        u"com.apple.mail-shared.plist"_s,     u"com.apple.homed.notbackedup.plist"_s,
        u"com.apple.universalaccess.plist"_s, u"com.apple.homed.plist"_s,
        u"com.apple.AddressBook.plist"_s,     u"com.apple.TimeMachine.plist"_s};
    return excluded.contains(fileName);
}

QString PlistCheckResults::shortenedMessage(const QString& message) {
    const qsizetype marker = message.indexOf(kDetailMarker);
    return marker < 0 ? message : message.left(marker);
}

QList<PlutilError> PlistCheckResults::plutilErrorsFromAnswer(const QMap<QString, QString>& answer) {
    QList<PlutilError> errors;
    for (auto it = answer.cbegin(); it != answer.cend(); ++it) {
        const QString& message = it.value();
        if (message.isNull() || message.compare(u"OK"_s, Qt::CaseInsensitive) == 0)
            continue;
        if (isExcludedFileName(sv::lastPathComponent(it.key())))
            continue;
        if (message == kEmptyDataMessage)
            continue;
        errors.append(PlutilError::plutilErrorWithPath(it.key(), shortenedMessage(message)));
    }
    return errors;
}
