#include "packager/package_creator.h"
#include "packager/package_reader.h"
#include "platform/keyed_archive.h"
#include "util/image_conversion.h"

#include "log_capture.h"
#include "recording_services.h"
#include "sandbox.h"

#include <QBuffer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// Resolves a keyed archive with Python's own property-list reader and prints
// the object graph as JSON (bytes as their length), or builds one.
const char* kPython = R"PY(
import json, plistlib, sys
mode, path = sys.argv[1], sys.argv[2]
if mode == "read":
    with open(path, "rb") as f:
        archive = plistlib.load(f)
    assert archive["$archiver"] == "NSKeyedArchiver", archive["$archiver"]
    objects = archive["$objects"]
    assert objects[0] == "$null"
    def resolve(ref):
        o = objects[ref.data] if isinstance(ref, plistlib.UID) else ref
        if isinstance(o, (str, bytes)):
            return o if isinstance(o, str) else {"bytes": len(o)}
        cls = objects[o["$class"].data]["$classname"]
        if cls in ("NSDictionary", "NSMutableDictionary"):
            return {resolve(k): resolve(v) for k, v in zip(o["NS.keys"], o["NS.objects"])}
        if cls in ("NSArray", "NSMutableArray"):
            return [resolve(v) for v in o["NS.objects"]]
        return {"class": cls}
    print(json.dumps(resolve(archive["$top"]["root"])))
else:
    value = sys.argv[3]
    U = plistlib.UID
    objects = ["$null",
        {"$class": U(2), "NS.keys": [U(3)], "NS.objects": [U(4)]},
        {"$classname": "NSDictionary", "$classes": ["NSDictionary", "NSObject"]},
        "system",
        {"$class": U(5), "NS.objects": [U(6)]},
        {"$classname": "NSArray", "$classes": ["NSArray", "NSObject"]},
        {"$class": U(2), "NS.keys": [U(7), U(8), U(9)], "NS.objects": [U(10), U(11), U(12)]},
        "name", "description", "prefs", "Dock", 7 if value == "number" else "Panel",
        {"$class": U(2), "NS.keys": [U(13)], "NS.objects": [U(14)]},
        "com.example.dock", "{ tile = 1; }"]
    archive = {"$archiver": "NSKeyedArchiver", "$version": 100000,
               "$top": {"root": U(1)}, "$objects": objects}
    with open(path, "wb") as f:
        plistlib.dump(archive, f, fmt=plistlib.FMT_BINARY)
)PY";

QString python(const QStringList& arguments) {
    QProcess process;
    process.start(u"/usr/bin/python3"_s,
                  QStringList{u"-c"_s, QString::fromUtf8(kPython)} + arguments);
    process.waitForFinished(20000);
    EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
    return QString::fromUtf8(process.readAllStandardOutput());
}

class Packages : public ::testing::Test {
protected:
    Sandbox sandbox;
    RecordingAlerts alerts;
    PackageReader reader{alerts, u"2.1"_s};

    QUrl writePackage(const QString& name, const QVariant& root) {
        const QString path = sandbox.path() + u'/' + name;
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(KeyedArchive::encode(root));
        return QUrl::fromLocalFile(path);
    }
};

TEST_F(Packages, PythonReadsASorvanePackage) {
    QImage icon(8, 8, QImage::Format_ARGB32);
    icon.fill(Qt::blue);
    const QVariantMap app{{u"name"_s, u"Editor"_s},
                          {u"appId"_s, u"com.example.Editor"_s},
                          {u"prefs"_s, QVariantMap{{u"com.example.Editor"_s, u"{ a = b; }"_s}}},
                          {u"files"_s, QVariantMap{{u"~/x"_s, QByteArray("abc")}}},
                          {u"iconPng"_s, sv::pngImageDataWithError(icon)}};
    const QString path =
        writePackage(u"p.Kolvane2"_s, QVariantMap{{u"applications"_s, QVariantList{app}}})
            .toLocalFile();
    const QJsonObject root = QJsonDocument::fromJson(python({u"read"_s, path}).toUtf8()).object();
    const QJsonObject record = root.value(u"applications"_s).toArray().at(0).toObject();
    EXPECT_EQ(record.value(u"name"_s).toString(), u"Editor"_s);
    EXPECT_EQ(record.value(u"appId"_s).toString(), u"com.example.Editor"_s);
    EXPECT_EQ(record.value(u"prefs"_s).toObject().value(u"com.example.Editor"_s).toString(),
              u"{ a = b; }"_s);
    EXPECT_EQ(record.value(u"files"_s).toObject().value(u"~/x"_s).toObject().value(u"bytes"_s), 3);
    EXPECT_GT(record.value(u"iconPng"_s).toObject().value(u"bytes"_s).toInt(), 0);
    EXPECT_EQ(root.size(), 1);
}

TEST_F(Packages, APythonPackageOpensAndANumberInItIsCorrupt) {
    const QString good = sandbox.path() + u"/good.Kolvane2"_s;
    python({u"write"_s, good, u"string"_s});
    ASSERT_TRUE(reader.initWithKolvaneUrl(QUrl::fromLocalFile(good)));
    ASSERT_EQ(reader.systemSettings().size(), 1);
    const auto& item = reader.systemSettings()[0];
    EXPECT_EQ(item->displayName(), u"Dock"_s);
    EXPECT_EQ(item->description(), u"Panel"_s);
    EXPECT_EQ(item->plistForDomain(u"com.example.dock"_s), u"{ tile = 1; }"_s);
    EXPECT_TRUE(item->enabled());
    EXPECT_TRUE(reader.applications().isEmpty());

    const QString bad = sandbox.path() + u"/bad.Kolvane2"_s;
    python({u"write"_s, bad, u"number"_s});
    LogCapture log;
    EXPECT_FALSE(reader.initWithKolvaneUrl(QUrl::fromLocalFile(bad)));
    ASSERT_EQ(alerts.shown.size(), 1);
    EXPECT_EQ(alerts.shown[0], qMakePair(u"Error Reading Package"_s,
                                         u"The package is either corrupt or not compatible with "
                                         u"this version of Sorvane"_s));
    ASSERT_EQ(log.lines().size(), 1);
    EXPECT_TRUE(log.lines()[0].startsWith(u"Error reading package: "_s));
}

TEST_F(Packages, ForeignExtensionsAreRefusedBeforeReading) {
    for (const QString& name : {u"p.kolvane2"_s, u"p.Kolvane"_s}) {
        alerts.shown.clear();
        LogCapture log;
        EXPECT_FALSE(reader.initWithKolvaneUrl(writePackage(name, QVariantMap{})));
        const QString extension = name.mid(2);
        EXPECT_EQ(log.lines(), QStringList{u"Unsupported file type: \"%1\""_s.arg(extension)});
        ASSERT_EQ(alerts.shown.size(), 1);
        EXPECT_EQ(alerts.shown[0].second,
                  u"Sorvane 2.1 does not support files of type \"%1\". Only Kolvane2 files are "
                  u"supported."_s.arg(extension));
    }
}

TEST_F(Packages, UndecodableIconPngLeavesNoIconAndEmptyFilesAreValid) {
    QImage icon(4, 4, QImage::Format_ARGB32);
    icon.fill(Qt::green);
    const QVariantMap app{{u"name"_s, u"Editor"_s},
                          {u"appId"_s, u"com.example.Editor"_s},
                          {u"prefs"_s, QVariantMap{{u"com.example.Editor"_s, u"{}"_s}}},
                          {u"files"_s, QVariantMap{}},
                          {u"iconPng"_s, QByteArray("not a png")},
                          {u"iconImage"_s, QVariant::fromValue(KeyedArchive::Image{
                                               sv::pngImageDataWithError(icon)})}};
    ASSERT_TRUE(reader.initWithKolvaneUrl(
        writePackage(u"a.Kolvane2"_s, QVariantMap{{u"applications"_s, QVariantList{app}}})));
    ASSERT_EQ(reader.applications().size(), 1);
    EXPECT_TRUE(reader.applications()[0]->icon().isNull());
    EXPECT_TRUE(reader.applications()[0]->extraFilePaths().isEmpty());
    EXPECT_TRUE(reader.systemSettings().isEmpty());
}

// The key says PNG, but any image format Qt reads is taken.
TEST_F(Packages, IconPngHoldingAnotherImageFormatStillGivesTheIcon) {
    QImage icon(6, 5, QImage::Format_RGB32);
    icon.fill(Qt::red);
    QByteArray bmp;
    QBuffer buffer(&bmp);
    ASSERT_TRUE(buffer.open(QIODevice::WriteOnly));
    ASSERT_TRUE(icon.save(&buffer, "BMP"));
    const QVariantMap app{{u"name"_s, u"Editor"_s},
                          {u"appId"_s, u"com.example.Editor"_s},
                          {u"prefs"_s, QVariantMap{{u"com.example.Editor"_s, u"{}"_s}}},
                          {u"iconPng"_s, bmp}};
    ASSERT_TRUE(reader.initWithKolvaneUrl(
        writePackage(u"b.Kolvane2"_s, QVariantMap{{u"applications"_s, QVariantList{app}}})));
    ASSERT_EQ(reader.applications().size(), 1);
    const QImage read = reader.applications()[0]->icon();
    ASSERT_FALSE(read.isNull());
    EXPECT_EQ(read.size(), QSize(6, 5));
    EXPECT_EQ(read.pixelColor(2, 2), QColor(Qt::red));
}

TEST_F(Packages, RecordsWithoutNamesLogBothAndFindNothing) {
    const QVariantMap nameless{{u"prefs"_s, QVariantMap{{u"d"_s, u"{}"_s}}}};
    LogCapture log;
    EXPECT_FALSE(reader.initWithKolvaneUrl(
        writePackage(u"n.Kolvane2"_s, QVariantMap{{u"system"_s, QVariantList{nameless}},
                                                  {u"applications"_s, QVariantList{nameless}}})));
    EXPECT_TRUE(log.contains(u"Error unpacking system settings"_s));
    EXPECT_TRUE(log.contains(u"Error unpacking application preferences"_s));
    ASSERT_EQ(alerts.shown.size(), 1);
    EXPECT_EQ(alerts.shown[0].first, u"No Settings Found"_s);
}

TEST(ImageConversion, AnEmptyImageFailsWithCode312) {
    sv::ImageError error;
    EXPECT_TRUE(sv::pngImageDataWithError(QImage(), &error).isNull());
    EXPECT_EQ(error.domain, u"Tarnwick"_s);
    EXPECT_EQ(error.code, 312);
    EXPECT_EQ(error.localizedDescription, u"Unable to obtain PNG representation of image"_s);
    QImage image(3, 5, QImage::Format_ARGB32);
    image.fill(Qt::black);
    EXPECT_EQ(QImage::fromData(sv::pngImageDataWithError(image), "PNG").size(), QSize(3, 5));
}

} // namespace
