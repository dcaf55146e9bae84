#include "util/logging.h"

Q_LOGGING_CATEGORY(lcSorvane, "sorvane", QtInfoMsg)

namespace sv {

void log(const QString& line) {
    qCInfo(lcSorvane).noquote() << line;
}

} // namespace sv
