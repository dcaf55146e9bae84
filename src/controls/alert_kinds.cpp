#include "controls/alert_kinds.h"

#include <QHash>

using namespace Qt::StringLiterals;

AlertKind AlertKinds::ofHeadline(const QString& message) {
    static const QHash<QString, AlertKind> kinds{
        {u"Application Running"_s, AlertKind::Warning},
        {u"No Settings Found"_s, AlertKind::Warning},
        {u"Some Settings Were Not Deployed"_s, AlertKind::Warning},
        {u"Package Could Not Be Created"_s, AlertKind::Error},
        {u"Package Could Not Be Saved"_s, AlertKind::Error},
        {u"Error Saving Kolvane"_s, AlertKind::Error},
        {u"Error Reading Package"_s, AlertKind::Error},
        {u"Unsupported File Type"_s, AlertKind::Error},
        {u"No Package Found"_s, AlertKind::Error},
        {u"The application could not be identified"_s, AlertKind::Error},
        {u"Sorvane Updates"_s, AlertKind::Information},
    };
    return kinds.value(message, AlertKind::Warning);
}
