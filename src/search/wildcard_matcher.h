#pragma once

#include <QString>
#include <QStringList>

// Sorvane's small pattern language for names: "??" matches any run of
// characters (the empty run too), a single "?" matches one character, every
// other character matches itself. Characters are compared by the low 8 bits of
// their UTF-16 code units, deliberately: "Ł" (U+0141) and "A" (U+0041) compare
// equal. The subject is always the first argument.
namespace sv {

bool matchesWildcardString(const QString& subject, const QString& pattern);
// The pattern split into "??" tokens and literal pieces, as
// matchesWildcardString splits it (white space before each piece dropped).
QStringList splitPattern(const QString& pattern);
bool matchesSearchComponents(QStringView subject, const QStringList& components);
bool matchesSimpleWildcardString(QStringView subject, QStringView piece);
// Splits a path search expression into plain paths and wildcard components:
// "~/Library/*/Plug-Ins/*/??.vst3" gives "~/Library", "*", "Plug-Ins", "*",
// "??.vst3".
QStringList searchComponents(const QString& expression);
// Logs the fixed pass and fail cases with their verdicts.
void SVSearchTestSuite();

} // namespace sv
