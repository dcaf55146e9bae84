// Sends the real helper requests that must be refused and checks that each
// one is, with nothing changed anywhere in the sandbox.
#include "helper_link_fixture.h"
#include "sandbox.h"

#include "privileged/helper_protocol.h"

#include <QCryptographicHash>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDirIterator>

#include <atomic>
#include <functional>
#include <thread>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
namespace P = HelperProtocol;

namespace {

struct Places {
    QString home;    // the sandbox home, owned by nobody
    QString root;    // the sandbox system root
    QString outside; // a folder outside every allowed place, with canaries
    QString tools;   // where scripts are written
};

struct Request {
    QString method;
    QList<QVariant> arguments;
};

struct HostileCase {
    const char* name;
    std::function<Request(const Places&)> make;
    bool denyEverything = false;
};

QString fileUrl(const QString& path) {
    return u"file://"_s + path;
}

Request deleteAt(const QString& url) {
    return {P::kDeleteFileAtUrl, {url}};
}

Request attributesAt(const QString& path, const QVariantMap& attributes) {
    QVariantMap wire;
    for (auto it = attributes.cbegin(); it != attributes.cend(); ++it)
        wire.insert(it.key(), QVariant::fromValue(QDBusVariant(it.value())));
    return {P::kSetFileAttributes, {QVariant::fromValue(wire), fileUrl(path)}};
}

Request copy(const QString& from, const QString& to) {
    return {P::kCopyFileAtUrl, {fileUrl(from), fileUrl(to)}};
}

const HostileCase kCases[] = {
    {"RelativePath", [](const Places&) { return deleteAt(u"file:Library/Caches/victim"_s); }},
    {"DotDot",
     [](const Places& p) {
         return deleteAt(fileUrl(p.home + u"/Library/Caches/../../../outside/passwd"_s));
     }},
    {"DoubleSlash",
     [](const Places& p) { return deleteAt(fileUrl(p.home + u"/Library//Caches/victim"_s)); }},
    {"Library2Sibling",
     [](const Places& p) { return deleteAt(fileUrl(p.home + u"/Library2/file"_s)); }},
    {"NulByte",
     [](const Places& p) { return deleteAt(fileUrl(p.home + u"/Library/Caches/victim%00x"_s)); }},
    {"InvalidUtf8",
     [](const Places& p) { return deleteAt(fileUrl(p.home + u"/Library/Caches/%FF%FE"_s)); }},
    {"OverlongName",
     [](const Places& p) {
         return deleteAt(fileUrl(p.home + u"/Library/Caches/"_s + QString(300, u'a')));
     }},
    {"HomeLibraryItself",
     [](const Places& p) { return deleteAt(fileUrl(p.home + u"/Library"_s)); }},
    {"SystemLibraryItself",
     [](const Places& p) { return deleteAt(fileUrl(p.root + u"/Library"_s)); }},
    {"RootLibraryItself",
     [](const Places& p) { return deleteAt(fileUrl(p.root + u"/root/Library"_s)); }},
    {"PasswdCanary", [](const Places& p) { return deleteAt(fileUrl(p.outside + u"/passwd"_s)); }},
    {"PasswdCanaryAttributes",
     [](const Places& p) {
         return attributesAt(p.outside + u"/passwd"_s, {{P::kFilePosixPermissions, 0666}});
     }},
    {"LibraryIsALinkOutside",
     [](const Places& p) { return deleteAt(fileUrl(p.root + u"/root/Library/passwd"_s)); }},
    {"LinkInCachesToAFileOutside",
     [](const Places& p) {
         return attributesAt(p.home + u"/Library/Caches/link"_s,
                             {{P::kFilePosixPermissions, 0666}});
     }},
    {"LinkedFolderInThePath",
     [](const Places& p) {
         return deleteAt(fileUrl(p.home + u"/Library/Caches/dirlink/passwd"_s));
     }},
    {"CopyFromALink",
     [](const Places& p) {
         return copy(p.home + u"/Library/Caches/link"_s, p.home + u"/Library/Caches/stolen"_s);
     }},
    {"CopyOntoALink",
     [](const Places& p) {
         return copy(p.home + u"/Library/Caches/victim"_s,
                     p.home + u"/Library/Caches/danglinglink"_s);
     }},
    {"CopyOntoAnExistingFile",
     [](const Places& p) {
         return copy(p.home + u"/Library/Caches/victim"_s, p.root + u"/Library/Caches/file"_s);
     }},
    {"CopyOutOfTheLibrary",
     [](const Places& p) {
         return copy(p.outside + u"/passwd"_s, p.home + u"/Library/Caches/stolen"_s);
     }},
    {"ProcSelfRoot",
     [](const Places& p) {
         return deleteAt(fileUrl(u"/proc/self/root"_s + p.home + u"/Library/Caches/victim"_s));
     }},
    {"SetUidMode",
     [](const Places& p) {
         return attributesAt(p.home + u"/Library/Caches/victim"_s,
                             {{P::kFilePosixPermissions, 04755}});
     }},
    {"StickyMode",
     [](const Places& p) {
         return attributesAt(p.home + u"/Library/Caches"_s, {{P::kFilePosixPermissions, 01777}});
     }},
    {"OwnerToRootInAHome",
     [](const Places& p) {
         return attributesAt(p.home + u"/Library/Caches/victim"_s, {{P::kFileOwnerAccountID, 0}});
     }},
    {"HardLinkedFile",
     [](const Places& p) {
         return attributesAt(p.home + u"/Library/Caches/hardlink"_s,
                             {{P::kFilePosixPermissions, 0666}});
     }},
    {"Fifo",
     [](const Places& p) {
         return attributesAt(p.home + u"/Library/Caches/fifo"_s,
                             {{P::kFilePosixPermissions, 0666}});
     }},
    {"CopyAFifo",
     [](const Places& p) {
         return copy(p.home + u"/Library/Caches/fifo"_s, p.home + u"/Library/Caches/fifo2"_s);
     }},
    {"GroupWritableScript",
     [](const Places& p) {
         return Request{P::kRunScriptAndDontWait, {fileUrl(p.tools + u"/group-writable.sh"_s)}};
     }},
    {"DomainWithAPath",
     [](const Places&) {
         return Request{P::kDeleteDefaultsDomain, {u"../../../outside/passwd"_s}};
     }},
    {"DeniedPolkitAction",
     [](const Places& p) { return deleteAt(fileUrl(p.home + u"/Library/Caches/victim"_s)); }, true},
};

// Everything about every item below a folder, links not followed.
QStringList snapshot(const QString& folder) {
    QStringList items;
    QDirIterator entries(folder,
                         QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString path = entries.next();
        struct stat info {};
        if (::lstat(QFile::encodeName(path).constData(), &info) != 0)
            continue;
        QByteArray content;
        if (S_ISREG(info.st_mode)) {
            QFile file(path);
            if (file.open(QIODevice::ReadOnly))
                content = QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256);
        }
        items.append(u"%1 mode=%2 uid=%3 gid=%4 links=%5 mtime=%6.%7 %8"_s.arg(path)
                         .arg(info.st_mode, 0, 8)
                         .arg(info.st_uid)
                         .arg(info.st_gid)
                         .arg(info.st_nlink)
                         .arg(info.st_mtim.tv_sec)
                         .arg(info.st_mtim.tv_nsec)
                         .arg(QString::fromLatin1(content.toHex())));
    }
    items.sort();
    return items;
}

} // namespace

// A sandbox with canaries outside every allowed place and traps inside them.
class HostileSandboxTest : public HelperLinkTest {
protected:
    void SetUp() override {
        HelperLinkTest::SetUp();
        if (HasFatalFailure())
            return;
        installHelper();
        places_ = {bus_->home(), bus_->systemRoot(), bus_->folder() + u"/outside"_s,
                   bus_->folder() + u"/tools"_s};
        makeFile(places_.outside + u"/passwd"_s, "root:x:0:0::/root:/bin/sh\n");
        makeFile(places_.home + u"/Library/Caches/victim"_s, "victim");
        makeFile(places_.home + u"/Library2/file"_s, "sibling");
        makeFile(places_.root + u"/Library/Caches/file"_s, "system");
        link(places_.outside + u"/passwd"_s, places_.home + u"/Library/Caches/link"_s);
        link(places_.outside, places_.home + u"/Library/Caches/dirlink"_s);
        link(places_.outside + u"/new"_s, places_.home + u"/Library/Caches/danglinglink"_s);
        QDir().mkpath(places_.root + u"/root"_s);
        link(places_.outside, places_.root + u"/root/Library"_s);
        ASSERT_EQ(
            ::link(QFile::encodeName(places_.outside + u"/passwd"_s).constData(),
                   QFile::encodeName(places_.home + u"/Library/Caches/hardlink"_s).constData()),
            0);
        ASSERT_EQ(
            ::mkfifo(QFile::encodeName(places_.home + u"/Library/Caches/fifo"_s).constData(), 0600),
            0);
        const QString script =
            makeFile(places_.tools + u"/group-writable.sh"_s,
                     "#!/bin/sh\ntouch '" + QFile::encodeName(places_.outside) + "/ran'\n");
        ::chmod(QFile::encodeName(script).constData(), 0775);
        // The home belongs to a plain user, as a real one would (a run that is
        // not root owns it already).
        if (runningAsRoot()) {
            ASSERT_EQ(::chown(QFile::encodeName(places_.home).constData(), 65534, 65534), 0);
        }
    }

    QString makeFile(const QString& path, const QByteArray& content) const {
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
        file.write(content);
        return path;
    }

    static void link(const QString& target, const QString& link) {
        QDir().mkpath(QFileInfo(link).path());
        ASSERT_TRUE(QFile::link(target, link)) << link.toStdString();
    }

    QStringList everything() const {
        return snapshot(places_.home) + snapshot(places_.root) + snapshot(places_.outside) +
               snapshot(places_.tools);
    }

    Places places_;
};

class HostileRequestTest : public HostileSandboxTest,
                           public ::testing::WithParamInterface<HostileCase> {};

TEST_P(HostileRequestTest, IsRefusedAndChangesNothing) {
    if (GetParam().denyEverything) {
        ASSERT_TRUE(bus_->allowUnknownActions(false));
        ASSERT_TRUE(bus_->setAllowedActions({}));
    }
    const Request request = GetParam().make(places_);
    const QStringList before = everything();
    QDBusConnection connection =
        QDBusConnection::connectToBus(bus_->address(), u"hostile-caller"_s);
    QDBusMessage call =
        QDBusMessage::createMethodCall(P::kLabel, P::kObjectPath, P::kInterface, request.method);
    call.setArguments(request.arguments);

    const QDBusMessage reply = connection.call(call, QDBus::Block, 20000);
    QDBusConnection::disconnectFromBus(u"hostile-caller"_s);

    if (reply.type() == QDBusMessage::ReplyMessage) {
        ASSERT_FALSE(reply.arguments().isEmpty());
        EXPECT_FALSE(reply.arguments().first().toBool()) << "the helper agreed";
        EXPECT_FALSE(reply.arguments().value(1).toString().isEmpty()) << "a refusal says why";
    } else {
        EXPECT_TRUE(reply.errorName().startsWith(P::kErrorPrefix))
            << reply.errorName().toStdString() << ": " << reply.errorMessage().toStdString();
    }
    // A started script would need a moment to leave its mark.
    QThread::msleep(request.method == P::kRunScriptAndDontWait ? 300 : 0);
    EXPECT_EQ(everything(), before);
}

INSTANTIATE_TEST_SUITE_P(Requests, HostileRequestTest, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<HostileCase>& param) {
                             return std::string(param.param.name);
                         });

namespace {

// The fields of an audit line, by name.
QMap<QString, QString> auditFields(const QString& line) {
    QMap<QString, QString> fields;
    const QStringList words = line.section(u"Helper audit: "_s, 1).split(u' ');
    for (const QString& word : words)
        fields.insert(word.section(u'=', 0, 0), word.section(u'=', 1));
    return fields;
}

} // namespace

// The same sandbox lets a well-formed request through, so the refusals above
// are the helper's doing; both kinds of request leave an audit line.
TEST_F(HostileSandboxTest, AuditsAnAllowedAndARefusedRequest) {
    QDBusConnection connection = QDBusConnection::connectToBus(bus_->address(), u"audited"_s);
    const auto send = [&](const Request& request) {
        QDBusMessage call = QDBusMessage::createMethodCall(P::kLabel, P::kObjectPath, P::kInterface,
                                                           request.method);
        call.setArguments(request.arguments);
        return connection.call(call, QDBus::Block, 20000);
    };
    const QString victim = places_.home + u"/Library/Caches/victim"_s;
    const QDBusMessage allowed = send(deleteAt(fileUrl(victim)));
    const QDBusMessage refused =
        send(deleteAt(fileUrl(places_.home + u"/Library/Caches/bad%0Aname%00"_s)));
    const QString caller = connection.baseService();
    QDBusConnection::disconnectFromBus(u"audited"_s);

    ASSERT_EQ(allowed.type(), QDBusMessage::ReplyMessage);
    EXPECT_TRUE(allowed.arguments().value(0).toBool())
        << allowed.arguments().value(1).toString().toStdString();
    EXPECT_FALSE(QFileInfo::exists(victim));
    ASSERT_EQ(refused.type(), QDBusMessage::ReplyMessage);
    EXPECT_FALSE(refused.arguments().value(0).toBool());

    QFile log(bus_->auditLog());
    ASSERT_TRUE(log.open(QIODevice::ReadOnly));
    QStringList lines = QString::fromUtf8(log.readAll()).split(u'\n', Qt::SkipEmptyParts);
    // The request put to polkit has a line before polkit's answer, completed
    // by a line with the same number after it.
    ASSERT_EQ(lines.size(), 3) << lines.join(u'\n').toStdString();
    const auto asked = auditFields(lines.takeFirst());
    EXPECT_EQ(asked.value(u"verdict"_s), u"asked"_s);
    EXPECT_EQ(asked.value(u"request"_s), auditFields(lines.at(0)).value(u"request"_s));
    const auto first = auditFields(lines.at(0));
    EXPECT_EQ(first.value(u"caller"_s), caller);
    EXPECT_EQ(first.value(u"uid"_s), QString::number(::getuid()));
    EXPECT_EQ(first.value(u"pid"_s), QString::number(::getpid()));
    EXPECT_EQ(first.value(u"action"_s), P::kActionDelete + P::kOwnLibrarySuffix);
    EXPECT_EQ(first.value(u"verdict"_s), u"allowed"_s);
    EXPECT_EQ(first.value(u"operation"_s), P::kDeleteFileAtUrl);
    EXPECT_EQ(first.value(u"target"_s), u"\""_s + victim + u"\""_s);
    const auto second = auditFields(lines.at(1));
    EXPECT_EQ(second.value(u"caller"_s), caller);
    EXPECT_EQ(second.value(u"uid"_s), QString::number(::getuid()));
    EXPECT_EQ(second.value(u"action"_s), u"-"_s) << "refused before polkit was asked";
    EXPECT_EQ(second.value(u"verdict"_s), u"refused"_s);
    EXPECT_EQ(second.value(u"operation"_s), P::kDeleteFileAtUrl);
    EXPECT_EQ(second.value(u"target"_s),
              u"\""_s + places_.home + u"/Library/Caches/bad\\x0aname\\x00\""_s)
        << "a new line in a name cannot start a forged line";
}

TEST_F(HostileSandboxTest, OnlyTheCallerThatStartedACheckCancelsIt) {
    constexpr int kFiles = 3000;
    const QString folder = places_.root + u"/Library/Preferences"_s;
    QDir().mkpath(folder);
    for (int i = 0; i < kFiles; ++i)
        makeFile(folder + u"/f%1.plist"_s.arg(i),
                 "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict/></plist>");
    QDBusConnection other = QDBusConnection::connectToBus(bus_->address(), u"other-caller"_s);
    std::optional<SorvaneHelperProtocol::PlistResults> results;
    std::atomic<bool> done{false};
    std::thread check([&] {
        results = link_->checkPlistsAtUrl(QUrl::fromLocalFile(folder));
        done = true;
    });
    int cancels = 0;
    while (!done) {
        other.call(QDBusMessage::createMethodCall(P::kLabel, P::kObjectPath, P::kInterface,
                                                  P::kCancelPlistCheck));
        ++cancels;
    }
    check.join();
    QDBusConnection::disconnectFromBus(u"other-caller"_s);

    ASSERT_TRUE(results.has_value());
    EXPECT_EQ(results->size(), kFiles) << "after " << cancels << " cancels from another caller";
}
