#pragma once

#include <QString>

namespace sv {

// The LIKE comparison that defaults-domain patterns use: "*" stands for any
// run of characters (also none), "?" for exactly one, and the pattern must
// cover the whole string. Letter case is ignored; there is no escape
// character and no character class.
bool isCaseInsensitiveLike(const QString& string, const QString& pattern);

} // namespace sv
