#pragma once

#include <QLoggingCategory>
#include <QString>

// Sorvane writes every log line to one category, "sorvane", so that tests can
// capture exactly what was logged and benchmarks can silence it.
Q_DECLARE_LOGGING_CATEGORY(lcSorvane)

namespace sv {

// Writes one line to the Sorvane log.
void log(const QString& line);

} // namespace sv
