#include "check_command.h"

#include "command_line.h"
#include "ctl_output.h"
#include "ctl_session.h"
#include "helper_access.h"
#include "leftover_check.h"
#include "local_plist_operations.h"
#include "workflows/property_list_check.h"
#include "workflows/result_texts.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>

using namespace Qt::StringLiterals;

namespace {

const QString kCommand = u"check"_s;

struct Target {
    QString folder;
    bool preferences = false; // one of the two folders the helper checks
};

// The folder to check, or a null folder after a usage complaint.
Target targetOf(const CommandLine& line, CtlOutput& out) {
    const bool user = line.isSet(u"--user"_s);
    const bool system = line.isSet(u"--system"_s);
    const QStringList operands = line.operands();
    if (int(user) + int(system) + int(!operands.isEmpty()) > 1 || operands.size() > 1) {
        out.usage(kCommand, u"give one of --user, --system or a folder"_s);
        return {};
    }
    if (system)
        return {PropertyListCheck::systemPreferencesFolder(), true};
    if (operands.isEmpty())
        return {PropertyListCheck::userPreferencesFolder(), true};
    const QFileInfo info(operands.first());
    if (!info.isDir()) {
        out.usage(kCommand, u"%1 is not a folder"_s.arg(operands.first()));
        return {};
    }
    return {QDir::cleanPath(info.absoluteFilePath()), false};
}

// Passes every operation on and notes whether the check got an answer, which
// the workflow itself reads as a check of zero files.
class AnswerWatch : public HelperOperations {
public:
    explicit AnswerWatch(HelperOperations& inner)
        : inner_(inner) {}
    bool answered = true;

    bool deleteDefaultsDomain(const QString& domain) override {
        return inner_.deleteDefaultsDomain(domain);
    }
    bool deleteFileAtUrl(const QUrl& file) override { return inner_.deleteFileAtUrl(file); }
    std::optional<QMap<QString, QString>> checkPlistsAtUrl(const QUrl& folder) override {
        auto answer = inner_.checkPlistsAtUrl(folder);
        answered = answer.has_value();
        return answer;
    }
    void cancelPlutilChecks() override { inner_.cancelPlutilChecks(); }
    void rebootComputer() override { inner_.rebootComputer(); }

private:
    HelperOperations& inner_;
};

QJsonArray failuresJson(const QList<PlutilError>& failures, const QList<bool>& left) {
    QJsonArray array;
    for (qsizetype i = 0; i < failures.size(); ++i) {
        QJsonObject entry{{u"path"_s, failures.at(i).path()},
                          {u"message"_s, failures.at(i).error()}};
        if (!left.isEmpty())
            entry.insert(u"deleted"_s, !left.at(i));
        array.append(entry);
    }
    return array;
}

} // namespace

QString CheckCommand::help() {
    return uR"(Usage: sorvanectl check [--json] [--user | --system | FOLDER] [--delete]

Checks the settings files of a folder (sub-folders included) and lists the
damaged ones with the checker's message. On the Linux desktop every file of a
known format is checked (dconf databases, keyfiles such as .desktop, .ini and
KDE's rc files, JSON, XML, property lists); on a macOS home folder every
property list (*.plist).

  --user      your own settings: $XDG_CONFIG_HOME (~/.config) on the Linux
              desktop, ~/Library/Preferences on a macOS home folder (the
              default)
  --system    the system's: /etc/xdg and /etc/dconf, or /Library/Preferences
  FOLDER      any other folder you can read, checked with your own rights
  --delete    delete the damaged files, as the desktop application does
              (through the privileged helper)

The system's folders (and, on a macOS home folder, your preferences folder)
are checked by the privileged helper; when it cannot be reached, they are
checked with your own rights and a line on standard error says so. Empty files, and a few system files that are always
being rewritten, are never listed, as in the desktop application.

Exit status: 0 when no damaged file was found, 1 when one was (with --delete
too: the JSON says which were deleted), 2 on wrong usage.)"_s;
}

int CheckCommand::run(const QStringList& arguments, CtlSession& session) {
    CtlOutput& out = session.out();
    CommandLine line({{u"--user"_s}, {u"--system"_s}, {u"--delete"_s}});
    if (!line.parse(arguments))
        return out.usage(kCommand, line.error());
    const Target target = targetOf(line, out);
    if (target.folder.isNull())
        return out.finish(kCommand, CtlOutput::kUsage);

    LocalPlistOperations local;
    HelperOperations* operations = &local;
    QJsonObject document{{u"folder"_s, target.folder}};
    if (target.preferences) {
        session.setWithoutHelper(u"checking with your own rights instead"_s);
        if (session.helper().reachable())
            operations = &session.helper();
        document.insert(u"helper"_s, session.helperJson());
    }
    const bool throughHelper = operations != &local;
    document.insert(u"checkedBy"_s, throughHelper ? u"helper"_s : u"user"_s);

    out.progress(u"Scanning files..."_s);
    AnswerWatch watch(*operations);
    PropertyListCheck check(watch);
    const PropertyListCheck::Result result = check.checkPlistsAtPath(target.folder);
    if (!watch.answered) {
        out.complain(u"check: the helper did not check %1 (it refused or did not answer)"_s.arg(
            target.folder));
        return out.finish(kCommand, CtlOutput::kFailure, document);
    }
    const QString summary =
        ResultTexts::scanSummary(result.filesScanned, quint32(result.plutilErrors.size()));
    QList<bool> left;
    std::optional<DeletionCounter> counter;
    if (line.isSet(u"--delete"_s)) {
        counter = check.deleteSelectedPlutilFiles(result.plutilErrors);
        for (const PlutilError& failure : result.plutilErrors)
            left.append(LeftoverCheck::fileRemains(failure.path()));
    }
    out.line(summary);
    for (qsizetype i = 0; i < result.plutilErrors.size(); ++i) {
        const PlutilError& failure = result.plutilErrors.at(i);
        const QString state = left.isEmpty() ? QString()
                              : left.at(i)   ? u"not deleted  "_s
                                             : u"deleted  "_s;
        out.line(u"  %1%2: %3"_s.arg(state, failure.path(), failure.error()));
    }
    document.insert(u"filesScanned"_s, qint64(result.filesScanned));
    document.insert(u"summary"_s, summary);
    document.insert(u"failures"_s, failuresJson(result.plutilErrors, left));
    if (counter) {
        out.line(ResultTexts::deletionSummary(*counter));
        document.insert(u"counter"_s, QJsonObject{{u"deleted"_s, qint64(counter->deleted)},
                                                  {u"errors"_s, qint64(counter->errors)}});
    }
    return out.finish(kCommand,
                      result.plutilErrors.isEmpty() ? CtlOutput::kSuccess : CtlOutput::kFailure,
                      document);
}
