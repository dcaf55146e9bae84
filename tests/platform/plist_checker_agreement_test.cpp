#include "platform/plist_checker.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// The checker against python3's plistlib, an independent reader, on a
// generated corpus; the script's header documents each deliberate difference.
TEST(PlistCheckerAgreement, VerdictsMatchPlistlibExceptDocumentedCases) {
    QTemporaryDir dir;
    QProcess python;
    python.start(u"python3"_s, {QStringLiteral(SORVANE_TEST_SOURCE_DIR) +
                                    u"/tests/data/plist/make_checker_corpus.py"_s,
                                dir.path()});
    ASSERT_TRUE(python.waitForFinished(60000));
    const QStringList lines =
        QString::fromUtf8(python.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
    ASSERT_GT(lines.size(), 100) << qPrintable(QString::fromUtf8(python.readAllStandardError()));
    int agreed = 0;
    int goodAgreed = 0;
    int documented = 0;
    for (const QString& line : lines) {
        const QString name = line.section(u'\t', 0, 0);
        const QString verdict = line.section(u'\t', 1);
        QFile file(dir.filePath(name));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        const bool ours = PlistChecker::check(file.readAll()) == u"OK"_s;
        if (name.startsWith(u"text_"_s)) {
            EXPECT_TRUE(ours) << qPrintable(name);
        } else if (verdict.startsWith(u"OK_"_s)) {
            EXPECT_FALSE(ours) << qPrintable(name + u' ' + verdict);
            ++documented;
        } else {
            EXPECT_EQ(ours, verdict == u"OK"_s) << qPrintable(name);
            agreed += ours == (verdict == u"OK"_s) ? 1 : 0;
            goodAgreed += ours && verdict == u"OK"_s ? 1 : 0;
        }
    }
    EXPECT_GT(agreed, 100);
    EXPECT_GE(documented, 4); // the null, cycle and deep cases at least
    EXPECT_GE(goodAgreed, 5);
}

} // namespace
