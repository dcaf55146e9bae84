// The self-deploying program reads packages with a reader of its own, without
// Qt: whatever Sorvane's keyed-archive coder writes, it must read back the
// same, and whatever is malformed it must refuse with a reason.
#include "keyed_archive_reader.h"
#include "package_contents.h"
#include "platform/keyed_archive.h"
#include "platform/plist_binary_format.h"
#include "platform/plist_value.h"

#include <QVariant>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace selfdeploy;

namespace {

const QString kImageMarker = u"(image)"_s;

QVariant toVariant(const ArchivedValue& value) {
    switch (value.kind) {
    case ArchivedValue::Kind::String:
        return QString::fromUtf8(value.bytes);
    case ArchivedValue::Kind::Data:
        return QByteArray::fromStdString(value.bytes);
    case ArchivedValue::Kind::Image:
        return kImageMarker;
    case ArchivedValue::Kind::Array: {
        QVariantList list;
        for (const ArchivedRef& item : value.items)
            list.append(toVariant(*item));
        return list;
    }
    case ArchivedValue::Kind::Dictionary: {
        QVariantMap map;
        for (const auto& [key, item] : value.entries)
            map.insert(QString::fromUtf8(key), toVariant(*item));
        return map;
    }
    }
    return {};
}

// What the reader is expected to give: images carry nothing for it.
QVariant withoutImages(const QVariant& value) {
    if (value.metaType() == QMetaType::fromType<KeyedArchive::Image>())
        return kImageMarker;
    if (value.metaType() == QMetaType::fromType<QVariantList>()) {
        QVariantList list;
        for (const QVariant& item : value.toList())
            list.append(withoutImages(item));
        return list;
    }
    if (value.metaType() == QMetaType::fromType<QVariantMap>()) {
        QVariantMap map = value.toMap();
        for (auto it = map.begin(); it != map.end(); ++it)
            it.value() = withoutImages(it.value());
        return map;
    }
    return value;
}

QVariant nested(int depth) {
    QVariant value = u"bottom"_s;
    for (int level = 0; level < depth; ++level)
        value = QVariantList{value};
    return value;
}

QVariantMap package(const QVariantList& components, const QVariantList& applications) {
    return {{u"system"_s, components}, {u"applications"_s, applications}};
}

struct ArchiveCase {
    const char* name;
    QVariant root;
};

std::vector<ArchiveCase> archiveCases() {
    QVariantMap manyFiles;
    for (int i = 0; i < 300; ++i)
        manyFiles.insert(u"~/.config/app/file%1"_s.arg(i), QByteArray::number(i));
    const QByteArray big(70000, '\x7f');
    return {
        {"package",
         package(
             {QVariantMap{{u"name"_s, u"Notes"_s},
                          {u"description"_s, u"Note settings"_s},
                          {u"prefs"_s, QVariantMap{{u"org.example.Notes"_s, u"[/]\nk=1\n"_s}}}}},
             {QVariantMap{
                 {u"name"_s, u"Sketch"_s},
                 {u"appId"_s, u"org.example.Sketch"_s},
                 {u"prefs"_s, QVariantMap{{u"flatpak:org.example.Sketch"_s, u"[a]\nb=2\n"_s}}},
                 {u"files"_s, QVariantMap{{u"~/.sketchrc"_s, QByteArray("\0\1\xff", 3)}}},
                 {u"iconPng"_s, QByteArray("\x89PNG")},
                 {u"iconImage"_s, QVariant::fromValue(KeyedArchive::Image{"png"})}}})},
        {"text beyond ASCII, surrogate pairs included",
         QVariantMap{{u"Grüße ∑ 😀"_s, u"ünïcödé \U0001F600"_s}, {u"plain"_s, u"plain"_s}}},
        {"shared strings and empty values",
         QVariantList{u"same"_s, u"same"_s, u""_s, QByteArray(), QVariantList(), QVariantMap()}},
        {"hundreds of objects and a large data object",
         QVariantMap{{u"files"_s, manyFiles}, {u"big"_s, big}}},
        {"nesting as deep as allowed", nested(60)},
    };
}

void PrintTo(const ArchiveCase& archiveCase, std::ostream* out) {
    *out << archiveCase.name;
}

class ArchiveReadBack : public testing::TestWithParam<ArchiveCase> {};

} // namespace

TEST_P(ArchiveReadBack, ReadsWhatSorvaneWrites) {
    QString encodeError;
    const QByteArray bytes = KeyedArchive::encode(GetParam().root, &encodeError);
    ASSERT_FALSE(bytes.isEmpty()) << encodeError.toStdString();
    std::string error;
    const ArchivedRef root = KeyedArchiveReader::read(bytes.toStdString(), &error);
    ASSERT_TRUE(root) << error;
    EXPECT_EQ(toVariant(*root), withoutImages(GetParam().root));
}

INSTANTIATE_TEST_SUITE_P(Archives, ArchiveReadBack, testing::ValuesIn(archiveCases()));

namespace {

PlistValue archive(const QString& archiver, const PlistValue& objects, quint64 root = 1) {
    PlistValue top = PlistValue::dictionary();
    top.insert(u"root"_s, PlistValue::fromUid(root));
    PlistValue value = PlistValue::dictionary();
    value.insert(u"$archiver"_s, PlistValue::fromString(archiver));
    value.insert(u"$version"_s, PlistValue::fromInteger(100000));
    value.insert(u"$top"_s, top);
    value.insert(u"$objects"_s, objects);
    return value;
}

PlistValue objects(const QList<PlistValue>& values) {
    PlistValue list = PlistValue::array();
    list.append(PlistValue::fromString(u"$null"_s));
    for (const PlistValue& value : values)
        list.append(value);
    return list;
}

PlistValue classEntry(const QString& name) {
    PlistValue entry = PlistValue::dictionary();
    PlistValue classes = PlistValue::array();
    classes.append(PlistValue::fromString(name));
    entry.insert(u"$classes"_s, classes);
    entry.insert(u"$classname"_s, PlistValue::fromString(name));
    return entry;
}

// An array object (class at index 2) whose items are the given UIDs.
PlistValue arrayOf(const QList<quint64>& uids) {
    PlistValue items = PlistValue::array();
    for (const quint64 uid : uids)
        items.append(PlistValue::fromUid(uid));
    PlistValue object = PlistValue::dictionary();
    object.insert(u"NS.objects"_s, items);
    object.insert(u"$class"_s, PlistValue::fromUid(2));
    return object;
}

QByteArray validArchive() {
    return KeyedArchive::encode(package({}, {QVariantMap{{u"name"_s, u"Sketch"_s}}}));
}

QByteArray withByte(QByteArray bytes, qsizetype index, char value) {
    bytes[index] = value;
    return bytes;
}

struct Malformed {
    const char* name;
    QByteArray bytes;
    const char* reason;
};

// An object of the class entry at classUid, with nothing else.
PlistValue objectOfClass(quint64 classUid) {
    PlistValue object = PlistValue::dictionary();
    object.insert(u"$class"_s, PlistValue::fromUid(classUid));
    return object;
}

std::vector<Malformed> malformedCases() {
    const QByteArray valid = validArchive();
    const qsizetype trailer = valid.size() - 32;
    return {
        {"empty", QByteArray(), "too short"},
        {"header only", QByteArray("bplist00"), "too short"},
        {"another format",
         QByteArray("<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"/>"),
         "not a binary property list"},
        {"cut short", valid.left(valid.size() - 10), "bad offset or reference size"},
        {"reference size zero", withByte(valid, trailer + 7, 0), "bad offset or reference size"},
        {"top object beyond the objects", withByte(valid, trailer + 23, char(0xff)),
         "bad object count"},
        {"offset table beyond the file", withByte(valid, trailer + 30, char(0x7f)),
         "offset table out of range"},
        {"another archiver",
         PlistBinaryFormat::write(
             archive(u"OtherArchiver"_s, objects({PlistValue::fromString(u"x"_s)}))),
         "unknown $archiver"},
        {"a class packages never hold",
         PlistBinaryFormat::write(
             archive(u"NSKeyedArchiver"_s, objects({objectOfClass(2), classEntry(u"NSURL"_s)}))),
         "the class NSURL is not allowed"},
        {"an array that holds itself",
         PlistBinaryFormat::write(
             archive(u"NSKeyedArchiver"_s, objects({arrayOf({1}), classEntry(u"NSArray"_s)}))),
         "a reference cycle"},
        {"a reference to $null",
         PlistBinaryFormat::write(
             archive(u"NSKeyedArchiver"_s, objects({arrayOf({0}), classEntry(u"NSArray"_s)}))),
         "a reference to $null"},
        {"a reference out of range",
         PlistBinaryFormat::write(
             archive(u"NSKeyedArchiver"_s, objects({arrayOf({9}), classEntry(u"NSArray"_s)}))),
         "a reference out of range"},
        {"nesting deeper than allowed", KeyedArchive::encode(nested(80)),
         "objects nested too deeply"},
    };
}

void PrintTo(const Malformed& malformed, std::ostream* out) {
    *out << malformed.name;
}

class MalformedArchive : public testing::TestWithParam<Malformed> {};

} // namespace

TEST_P(MalformedArchive, IsRefusedWithItsReason) {
    std::string error;
    EXPECT_FALSE(KeyedArchiveReader::read(GetParam().bytes.toStdString(), &error));
    EXPECT_NE(error.find(GetParam().reason), std::string::npos) << error;
}

INSTANTIATE_TEST_SUITE_P(Archives, MalformedArchive, testing::ValuesIn(malformedCases()));

TEST(MalformedArchive, EveryDamagedByteIsReadOrRefusedWithAReason) {
    const QByteArray valid = validArchive();
    for (qsizetype i = 0; i < valid.size(); ++i) {
        for (const char damage : {'\0', '\xff', char(valid.at(i) ^ 0x10)}) {
            std::string error;
            const ArchivedRef root =
                KeyedArchiveReader::read(withByte(valid, i, damage).toStdString(), &error);
            if (!root) {
                EXPECT_FALSE(error.empty()) << "byte " << i;
            }
        }
    }
}

TEST(PackageContents, RecordsWithoutANameArePassedOverAndAnEmptyPackageIsRefused) {
    const QVariantMap root =
        package({QVariantMap{{u"description"_s, u"no name"_s}},
                 QVariantMap{{u"name"_s, u"Notes"_s},
                             {u"prefs"_s, QVariantMap{{u"org.example.Notes"_s, u"[/]\n"_s}}}}},
                {QVariantMap{{u"name"_s, u"Sketch"_s},
                             {u"appId"_s, u"org.example.Sketch"_s},
                             {u"files"_s, QVariantMap{{u"~/.a"_s, QByteArray("1")},
                                                      {u"~/.b"_s, QByteArray("22")}}}}});
    std::string error;
    const ArchivedRef archived =
        KeyedArchiveReader::read(KeyedArchive::encode(root).toStdString(), &error);
    ASSERT_TRUE(archived) << error;
    std::string problem;
    const auto contents = PackageContents::fromArchive(*archived, &problem);
    ASSERT_TRUE(contents) << problem;
    ASSERT_EQ(contents->items.size(), 2u);
    EXPECT_EQ(contents->componentCount(), 1u);
    EXPECT_EQ(contents->applicationCount(), 1u);
    EXPECT_EQ(contents->domainCount(), 1u);
    EXPECT_EQ(contents->fileCount(), 2u);
    EXPECT_EQ(contents->items[1].identifier, "org.example.Sketch");
    EXPECT_EQ(contents->items[1].files[1].bytes, "22");

    const ArchivedRef empty = KeyedArchiveReader::read(
        KeyedArchive::encode(package({QVariantMap{{u"description"_s, u"x"_s}}}, {})).toStdString(),
        &error);
    ASSERT_TRUE(empty) << error;
    EXPECT_FALSE(PackageContents::fromArchive(*empty, &problem));
    EXPECT_EQ(problem, "no settings could be extracted from the package");
}
