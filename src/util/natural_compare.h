#pragma once

#include <QString>

// The order people expect in lists of names: case ignored and runs of digits
// compared by value ("Dock 9" before "Dock 10"), in the user's language.
namespace sv {

// Negative, zero or positive as a sorts before, with or after b.
int localizedStandardCompare(const QString& a, const QString& b);

} // namespace sv
