// How the self-deploying file asks before it writes: in the terminal it was
// started from, else through zenity or kdialog (fake ones here, which record
// what they are shown and answer as told), else not at all, and then it
// writes nothing.
#include "self_deploying_fixture.h"

#include <QDir>
#include <QFile>

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

enum class Way { Terminal, Zenity, Kdialog, Nothing };

struct AskCase {
    const char* name;
    Way way;
    QByteArray answer; // the terminal's line, or the dialog's exit status
    int status;
    bool deployed;
    QStringList dialogCalls; // what each dialog call was ("--question", "--info"…), in order
    QString said;
};

void PrintTo(const AskCase& ask, std::ostream* out) {
    *out << ask.name;
}

// A pseudo-terminal whose input already holds a line.
class Terminal {
public:
    explicit Terminal(const QByteArray& line) {
        master_ = ::posix_openpt(O_RDWR | O_NOCTTY);
        if (master_ < 0 || ::grantpt(master_) != 0 || ::unlockpt(master_) != 0)
            return;
        name_ = QString::fromLocal8Bit(::ptsname(master_));
        // Held open so that the line waits for the reader.
        slave_ = ::open(::ptsname(master_), O_RDWR | O_NOCTTY);
        if (slave_ < 0 || ::write(master_, line.constData(), size_t(line.size())) != line.size())
            name_.clear();
    }
    ~Terminal() {
        for (const int fd : {slave_, master_}) {
            if (fd >= 0)
                ::close(fd);
        }
    }
    QString name() const { return name_; }

private:
    int master_ = -1;
    int slave_ = -1;
    QString name_;
};

// The kind of dialog a call shows.
QString kindOf(const QStringList& call) {
    static const QStringList kinds = {u"--question"_s, u"--info"_s, u"--error"_s, u"--yesno"_s,
                                      u"--msgbox"_s};
    for (const QString& argument : call) {
        if (kinds.contains(argument))
            return argument;
    }
    return {};
}

class Asking : public SelfDeployingFixture, public testing::WithParamInterface<AskCase> {
protected:
    // A folder for PATH with dconf and, when asked for, a fake dialog program.
    QString programs(const QString& dialog, const QByteArray& answer) {
        const QString folder = path(u"programs"_s);
        EXPECT_TRUE(QDir().mkpath(folder));
        EXPECT_TRUE(QFile::link(u"/usr/bin/dconf"_s, folder + u"/dconf"_s));
        if (dialog.isEmpty())
            return folder;
        const QString script =
            u"#!/bin/sh\nprintf '%s\\0' \"$@\" >> '%1'\nprintf '\\001' >> '%1'\n"
            u"for a in \"$@\"; do\n"
            u"  if [ \"$a\" = --question ] || [ \"$a\" = --yesno ]; then exit %2; fi\n"
            u"done\nexit 0\n"_s.arg(log(), QString::fromLatin1(answer));
        QFile file(folder + u'/' + dialog);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(script.toUtf8());
        file.close();
        EXPECT_TRUE(file.setPermissions(QFile::ReadOwner | QFile::ExeOwner));
        return folder;
    }
    QString log() const { return path(u"dialog.log"_s); }
    // Each call's arguments, the first one first.
    QList<QStringList> dialogCalls() const {
        QFile file(log());
        QList<QStringList> calls;
        if (!file.open(QIODevice::ReadOnly))
            return calls;
        for (const QByteArray& call : file.readAll().split('\1')) {
            if (call.isEmpty())
                continue;
            QStringList arguments;
            for (const QByteArray& argument : call.split('\0'))
                arguments.append(QString::fromUtf8(argument));
            calls.append(arguments);
        }
        return calls;
    }
};

} // namespace

TEST_P(Asking, WritesOnlyWhenTheUserSaysSo) {
    const AskCase& ask = GetParam();
    const auto user = receiver();
    const State before = stateOf(*user);
    const QString dialog = ask.way == Way::Zenity    ? u"zenity"_s
                           : ask.way == Way::Kdialog ? u"kdialog"_s
                                                     : QString();
    const QString path = programs(dialog, ask.answer);
    const Terminal terminal(ask.answer);
    if (ask.way == Way::Terminal) {
        ASSERT_FALSE(terminal.name().isEmpty());
    }
    // Without a terminal, standard input is the null device, as from a file manager.
    const ProgramRun run =
        runCopy(*user, {}, path, {}, ask.way == Way::Terminal ? terminal.name() : u"/dev/null"_s);
    EXPECT_EQ(run.status, ask.status) << run.out.toStdString() << run.err.toStdString();
    EXPECT_EQ(stateOf(*user) != before, ask.deployed);
    EXPECT_TRUE((run.out + run.err).contains(ask.said))
        << run.out.toStdString() << run.err.toStdString();

    const QList<QStringList> calls = dialogCalls();
    ASSERT_EQ(calls.size(), ask.dialogCalls.size());
    for (qsizetype i = 0; i < calls.size(); ++i)
        EXPECT_EQ(kindOf(calls[i]), ask.dialogCalls[i]);
    // What the dialog asks about is the package's content.
    if (!calls.isEmpty()) {
        EXPECT_TRUE(calls[0].join(u' ').contains(u"Application Sketch (org.example.Sketch)"_s));
    }
}

INSTANTIATE_TEST_SUITE_P(
    SelfDeploying, Asking,
    testing::Values(
        AskCase{
            "terminal, yes", Way::Terminal, "y\n", 0, true, {}, u"Deploy these settings? [y/N]"_s},
        AskCase{"terminal, no", Way::Terminal, "n\n", 5, false, {}, u"Nothing was deployed."_s},
        AskCase{"zenity, Deploy",
                Way::Zenity,
                "0",
                0,
                true,
                {u"--question"_s, u"--info"_s},
                u"Deployed all 6 settings and files."_s},
        AskCase{"zenity, Cancel",
                Way::Zenity,
                "1",
                5,
                false,
                {u"--question"_s, u"--info"_s},
                u"Nothing was deployed."_s},
        AskCase{"zenity without a display",
                Way::Zenity,
                "255",
                5,
                false,
                {u"--question"_s, u"--error"_s},
                u"there is no terminal and no dialog program (zenity or kdialog)"_s},
        AskCase{"kdialog, Deploy",
                Way::Kdialog,
                "0",
                0,
                true,
                {u"--yesno"_s, u"--msgbox"_s},
                u"Deployed all"_s},
        AskCase{"kdialog, Cancel",
                Way::Kdialog,
                "1",
                5,
                false,
                {u"--yesno"_s, u"--msgbox"_s},
                u"Nothing was deployed."_s},
        AskCase{"nothing to ask with",
                Way::Nothing,
                "",
                5,
                false,
                {},
                u"Run it from a terminal, or with --yes to deploy without asking."_s}));
