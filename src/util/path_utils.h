#pragma once

#include <QString>
#include <QStringList>

// Path arithmetic on strings with the semantics that Sorvane's search rules
// were written against: "/" is the first component of an absolute path, "~"
// is a component of its own, runs of "/" count as one and a trailing "/" is
// not part of the last component.
namespace sv {

QStringList pathComponents(const QString& path);
QString lastPathComponent(const QString& path);
QString pathExtension(const QString& path);
QString stringByDeletingPathExtension(const QString& path);
QString stringByAppendingPathComponent(const QString& path, const QString& component);
QString stringByDeletingLastPathComponent(const QString& path);
// Expands a leading "~" (the current user, from $HOME) or "~name" (that user's
// home from the user database); anything else comes back unchanged.
QString stringByExpandingTildeInPath(const QString& path);

} // namespace sv
