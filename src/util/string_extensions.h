#pragma once

#include <QString>

// The small string helpers that the rest of Sorvane relies on.
namespace sv {

// Abbreviates any user's home under "/Users" to "~" (deliberately any user's,
// not only the current one's, so that packaged paths deploy for whoever runs
// the package).
QString stringByInsertingTildeInPath(const QString& path);
bool startsWithString(const QString& string, const QString& prefix);
bool endsWithString(const QString& string, const QString& suffix);

} // namespace sv
