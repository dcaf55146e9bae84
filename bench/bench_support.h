#pragma once

#include <QString>
#include <QStringList>

// Shared pieces of the benchmarks: a scratch folder standing for HOME and the
// system root, and timing a peer program as a whole process.
namespace bench {

// Points HOME and SORVANE_SYSTEM_ROOT below a fresh scratch folder; returns it.
QString makeScratch(const QString& name);
// Runs a program with its output thrown away and waits for it; false on failure.
bool runQuietly(const QString& program, const QStringList& arguments);
// Silences Sorvane's log so that only the work is timed.
void silenceLog();

} // namespace bench
