#pragma once

#include <QString>

// The names that Sorvane and its privileged helper agree on over D-Bus. The
// helper speaks SorvaneHelperProtocol (with BVUHelperToolProtocol's one
// operation) as one interface whose methods carry the operations' names; the
// reply's arguments are the operation's reply arguments, where an absent
// error is an empty text and an absent array or dictionary is flagged by a
// boolean before it.
namespace HelperProtocol {

// At once the bus name, the interface and (as a path) the object.
inline const QString kLabel = QStringLiteral("com.brisvale.Sorvane.Helper");
inline const QString kObjectPath = QStringLiteral("/com/brisvale/Sorvane/Helper");
inline const QString kInterface = kLabel;

// The helper's own failures travel as D-Bus errors under this prefix, so that
// the link tells them apart from transport errors.
inline const QString kErrorPrefix = QStringLiteral("com.brisvale.Sorvane.Helper.Error.");
inline const QString kNotAuthorizedError = kErrorPrefix + QStringLiteral("NotAuthorized");

// Methods, in protocol order.                           in       out
inline const QString kRunScriptAndDontWait = QStringLiteral("runScriptAndDontWait");   // s  bs
inline const QString kGetVersion = QStringLiteral("getVersion");                       // -  iii
inline const QString kReadAllDefaultDomains = QStringLiteral("readAllDefaultDomains"); // - bass
inline const QString kDeleteDefaultsDomain = QStringLiteral("deleteDefaultsDomain");   // s bs
inline const QString kDeleteFileAtUrl = QStringLiteral("deleteFileAtUrl");             // s bs
inline const QString kCopyFileAtUrl = QStringLiteral("copyFileAtUrl");                 // ss bs
inline const QString kSetFileAttributes = QStringLiteral("setFileAttributes");         // a{sv}s bs
inline const QString kCheckPlistsAtUrl = QStringLiteral("checkPlistsAtUrl");           // s bba{ss}s
inline const QString kCancelPlistCheck = QStringLiteral("cancelPlistCheck");           // -  -
inline const QString kRebootComputer = QStringLiteral("rebootComputer");               // -  s

// polkit actions, one per kind of operation.
inline const QString kActionRunScript = kLabel + QStringLiteral(".run-script");
inline const QString kActionReadDomains = kLabel + QStringLiteral(".read-domains");
inline const QString kActionDelete = kLabel + QStringLiteral(".delete");
inline const QString kActionCopy = kLabel + QStringLiteral(".copy");
inline const QString kActionSetAttributes = kLabel + QStringLiteral(".set-attributes");
inline const QString kActionCheckPlists = kLabel + QStringLiteral(".check-plists");
inline const QString kActionReboot = kLabel + QStringLiteral(".reboot");
// Deleting, copying and changing attributes ask the plain action for the
// system's and root's Library, and the action with one of these suffixes for
// the caller's own Library or another user's.
inline const QString kOwnLibrarySuffix = QStringLiteral("-own");
inline const QString kOtherUserSuffix = QStringLiteral("-other-user");

// File attribute keys of setFileAttributes, as the file manager names them.
inline const QString kFilePosixPermissions = QStringLiteral("NSFilePosixPermissions");
inline const QString kFileOwnerAccountID = QStringLiteral("NSFileOwnerAccountID");
inline const QString kFileGroupOwnerAccountID = QStringLiteral("NSFileGroupOwnerAccountID");
inline const QString kFileModificationDate = QStringLiteral("NSFileModificationDate");

// The version this build's helper reports and its link expects.
inline constexpr int kVersionMajor = 2;
inline constexpr int kVersionMinor = 0;
inline constexpr int kVersionPatch = 0;

} // namespace HelperProtocol
