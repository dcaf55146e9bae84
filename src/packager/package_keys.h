#pragma once

#include <QString>

// The words of a preference package: the file extension and the keys of the
// root dictionary and of its records, shared by the writer and the reader.
namespace package_keys {

inline const QString kExtension = QStringLiteral("Kolvane2");
inline const QString kSystem = QStringLiteral("system");
inline const QString kApplications = QStringLiteral("applications");
inline const QString kName = QStringLiteral("name");
inline const QString kDescription = QStringLiteral("description");
inline const QString kPrefs = QStringLiteral("prefs");
inline const QString kAppId = QStringLiteral("appId");
inline const QString kFiles = QStringLiteral("files");
inline const QString kIconPng = QStringLiteral("iconPng");
inline const QString kIconImage = QStringLiteral("iconImage");

} // namespace package_keys
