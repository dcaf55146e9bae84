#include "workflows/match_reason.h"

#include <array>

using namespace Qt::StringLiterals;

namespace {

// The JSON kind and the text of each reason, in the order of MatchReason::Kind.
struct ReasonNames {
    QStringView kind;
    QStringView text;
};
constexpr std::array reasonNames{
    ReasonNames{u"identifier", u"bundle identifier \"%1\""},
    ReasonNames{u"name", u"application name \"%1\""},
    ReasonNames{u"suffix", u"application name less the suffix word \"%1\""},
    ReasonNames{u"savedState", u"saved state of \"%1\""},
    ReasonNames{u"cataloguePath", u"catalogue path \"%1\""},
    ReasonNames{u"catalogueSearch", u"catalogue search \"%1\""},
    ReasonNames{u"catalogueDomain", u"catalogue domain \"%1\""},
    ReasonNames{u"applicationId", u"application ID \"%1\""},
    ReasonNames{u"rcFile", u"KDE configuration file of \"%1\""},
    ReasonNames{u"notificationSettings", u"the desktop's notification settings of \"%1\""},
    ReasonNames{u"flatpakSettings", u"the settings store of the Flatpak \"%1\""},
};
static_assert(reasonNames.size() == static_cast<size_t>(MatchReason::Kind::FlatpakSettings) + 1);

} // namespace

QString MatchReason::kindName(Kind kind) {
    return reasonNames.at(static_cast<size_t>(kind)).kind.toString();
}

QString MatchReason::text() const {
    QString result = reasonNames.at(static_cast<size_t>(kind)).text.toString().arg(detail);
    if (inContainer)
        result += u", in the application's container"_s;
    return result;
}
