#include "platform/keyed_archive.h"
#include "platform/plist_binary_format.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <functional>

using namespace Qt::StringLiterals;

namespace {

QVariantMap samplePackage() {
    QVariantMap prefs{{u"com.example.app"_s, u"{\n    a = <*I1>;\n}\n"_s}};
    QVariantMap app{{u"name"_s, u"Example"_s},
                    {u"appId"_s, u"com.example.app"_s},
                    {u"prefs"_s, prefs},
                    {u"files"_s, QVariantMap{{u"~/Library/x"_s, QByteArray("\x00\x01", 2)}}},
                    {u"iconImage"_s, QVariant::fromValue(KeyedArchive::Image{"\x89PNG..."})}};
    QVariantMap component{{u"name"_s, u"Dock"_s}, {u"description"_s, u""_s}, {u"prefs"_s, prefs}};
    return {{u"system"_s, QVariantList{component}}, {u"applications"_s, QVariantList{app}}};
}

TEST(KeyedArchive, PackageRoundTrips) {
    QString error;
    const QByteArray bytes = KeyedArchive::encode(samplePackage(), &error);
    ASSERT_FALSE(bytes.isEmpty()) << qPrintable(error);
    const QVariant decoded = KeyedArchive::decode(bytes, &error);
    ASSERT_TRUE(decoded.isValid()) << qPrintable(error);
    EXPECT_EQ(decoded.toMap(), samplePackage());
}

TEST(KeyedArchive, RefusesValuesOutsideThePackageClasses) {
    QString error;
    EXPECT_TRUE(KeyedArchive::encode(QVariantMap{{u"n"_s, 3}}, &error).isEmpty());
    EXPECT_FALSE(error.isEmpty());
}

QString runPython(const QString& script, const QStringList& arguments) {
    QProcess python;
    python.start(u"python3"_s, QStringList{u"-c"_s, script} + arguments);
    python.waitForFinished(30000);
    return QString::fromUtf8(python.readAllStandardOutput()) +
           QString::fromUtf8(python.readAllStandardError());
}

TEST(KeyedArchive, PlistlibReadsOurArchives) {
    QTemporaryDir dir;
    QFile file(dir.filePath(u"p.Kolvane2"_s));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(KeyedArchive::encode(samplePackage()));
    file.close();
    const QString output =
        runPython(u"import plistlib,sys\n"
                  u"a=plistlib.load(open(sys.argv[1],'rb'))\n"
                  u"assert a['$archiver']=='NSKeyedArchiver' and a['$version']==100000\n"
                  u"o=a['$objects']; assert o[0]=='$null'\n"
                  u"r=o[a['$top']['root'].data]\n"
                  u"cls=lambda x:o[x['$class'].data]['$classname']\n"
                  u"assert cls(r)=='NSDictionary'\n"
                  u"keys=[o[k.data] for k in r['NS.keys']]\n"
                  u"apps=o[r['NS.objects'][keys.index('applications')].data]\n"
                  u"assert cls(apps)=='NSArray'\n"
                  u"app=o[apps['NS.objects'][0].data]\n"
                  u"d={o[k.data]:o[v.data] for k,v in zip(app['NS.keys'],app['NS.objects'])}\n"
                  u"assert d['name']=='Example', d\n"
                  u"img=d['iconImage']; assert cls(img)=='NSImage'\n"
                  u"assert o[img['SVPNGData'].data]==b'\\x89PNG...'\n"
                  u"print('done')\n"_s,
                  {file.fileName()});
    EXPECT_EQ(output, u"done\n"_s) << qPrintable(output);
}

TEST(KeyedArchive, DecodesArchivesThatPlistlibBuilds) {
    QTemporaryDir dir;
    const QString path = dir.filePath(u"theirs.plist"_s);
    const QString output = runPython(
        u"import plistlib,sys\n"
        u"U=plistlib.UID\n"
        u"objs=['$null',\n"
        u" {'$class':U(2),'NS.keys':[U(3)],'NS.objects':[U(4)]},\n"
        u" {'$classname':'NSMutableDictionary','$classes':['NSMutableDictionary',"
        u"'NSDictionary','NSObject']},\n"
        u" 'system',\n"
        u" {'$class':U(5),'NS.objects':[U(6),U(7)]},\n"
        u" {'$classname':'NSMutableArray','$classes':['NSMutableArray','NSArray','NSObject']},\n"
        u" {'$class':U(8),'NS.string':'caf\\u00e9'},\n"
        u" b'\\x00\\xff',\n"
        u" {'$classname':'NSMutableString','$classes':['NSMutableString','NSString',"
        u"'NSObject']}]\n"
        u"a={'$version':100000,'$archiver':'NSKeyedArchiver','$top':{'root':U(1)},"
        u"'$objects':objs}\n"
        u"plistlib.dump(a,open(sys.argv[1],'wb'),fmt=plistlib.FMT_BINARY)\n"
        u"print('done')\n"_s,
        {path});
    ASSERT_EQ(output, u"done\n"_s) << qPrintable(output);
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    QString error;
    const QVariant decoded = KeyedArchive::decode(file.readAll(), &error);
    ASSERT_TRUE(decoded.isValid()) << qPrintable(error);
    EXPECT_EQ(
        decoded.toMap(),
        (QVariantMap{{u"system"_s, QVariantList{u"caf\u00e9"_s, QByteArray("\x00\xff", 2)}}}));
}

// A hand-made archive: a mutation applied to a small valid one.
using Mutation = std::function<void(PlistValue& archive, QList<PlistValue>& objects)>;

PlistValue uid(quint64 value) {
    return PlistValue::fromUid(value);
}

PlistValue classEntry(const QString& name) {
    PlistValue entry = PlistValue::dictionary();
    entry.insert(u"$classname"_s, PlistValue::fromString(name));
    PlistValue classes = PlistValue::array();
    classes.append(PlistValue::fromString(name));
    entry.insert(u"$classes"_s, classes);
    return entry;
}

PlistValue refs(std::initializer_list<quint64> values) {
    PlistValue list = PlistValue::array();
    for (quint64 value : values)
        list.append(uid(value));
    return list;
}

QByteArray archiveWith(const Mutation& mutate) {
    // root dictionary {"k": "v"}
    QList<PlistValue> objects;
    objects.append(PlistValue::fromString(u"$null"_s));
    PlistValue root = PlistValue::dictionary();
    root.insert(u"$class"_s, uid(2));
    root.insert(u"NS.keys"_s, refs({3}));
    root.insert(u"NS.objects"_s, refs({4}));
    objects.append(root);
    objects.append(classEntry(u"NSDictionary"_s));
    objects.append(PlistValue::fromString(u"k"_s));
    objects.append(PlistValue::fromString(u"v"_s));
    PlistValue archive = PlistValue::dictionary();
    archive.insert(u"$version"_s, PlistValue::fromInteger(100000));
    archive.insert(u"$archiver"_s, PlistValue::fromString(u"NSKeyedArchiver"_s));
    PlistValue top = PlistValue::dictionary();
    top.insert(u"root"_s, uid(1));
    archive.insert(u"$top"_s, top);
    mutate(archive, objects);
    PlistValue list = PlistValue::array();
    for (const PlistValue& object : std::as_const(objects))
        list.append(object);
    if (!archive.find(u"$objects"_s))
        archive.insert(u"$objects"_s, list);
    return PlistBinaryFormat::write(archive);
}

void setRootEntry(QList<PlistValue>& objects, const QString& key, const PlistValue& value) {
    objects[1].insert(key, value);
}

struct MalformedCase {
    const char* name;
    Mutation mutate;
};

class MalformedArchives : public testing::TestWithParam<MalformedCase> {};

TEST_P(MalformedArchives, AreRefusedWithAnError) {
    QString error;
    EXPECT_FALSE(KeyedArchive::decode(archiveWith(GetParam().mutate), &error).isValid());
    EXPECT_FALSE(error.isEmpty());
}

TEST(KeyedArchive, TheUnmutatedArchiveDecodes) {
    QString error;
    EXPECT_EQ(KeyedArchive::decode(archiveWith([](PlistValue&, QList<PlistValue>&) {}), &error),
              QVariant(QVariantMap{{u"k"_s, u"v"_s}}))
        << qPrintable(error);
}

INSTANTIATE_TEST_SUITE_P(
    Graphs, MalformedArchives,
    testing::Values(
        MalformedCase{"numberInRecord",
                      [](PlistValue&, QList<PlistValue>& o) { o[4] = PlistValue::fromInteger(3); }},
        MalformedCase{"booleanInRecord",
                      [](PlistValue&, QList<PlistValue>& o) { o[4] = PlistValue::fromBool(true); }},
        MalformedCase{"uidOutOfRange",
                      [](PlistValue&, QList<PlistValue>& o) {
                          setRootEntry(o, u"NS.objects"_s, refs({99}));
                      }},
        MalformedCase{
            "referenceToNull",
            [](PlistValue&, QList<PlistValue>& o) { setRootEntry(o, u"NS.objects"_s, refs({0})); }},
        MalformedCase{
            "cycle",
            [](PlistValue&, QList<PlistValue>& o) { setRootEntry(o, u"NS.objects"_s, refs({1})); }},
        MalformedCase{"keysNotAnArray",
                      [](PlistValue&, QList<PlistValue>& o) {
                          setRootEntry(o, u"NS.keys"_s, PlistValue::fromString(u"k"_s));
                      }},
        MalformedCase{"countsDiffer",
                      [](PlistValue&, QList<PlistValue>& o) {
                          setRootEntry(o, u"NS.objects"_s, refs({4, 4}));
                      }},
        MalformedCase{
            "keyNotAString",
            [](PlistValue&, QList<PlistValue>& o) { setRootEntry(o, u"NS.keys"_s, refs({1})); }},
        MalformedCase{"unknownClass",
                      [](PlistValue&, QList<PlistValue>& o) { o[2] = classEntry(u"NSNumber"_s); }},
        MalformedCase{
            "classNotAnEntry",
            [](PlistValue&, QList<PlistValue>& o) { setRootEntry(o, u"$class"_s, uid(3)); }},
        MalformedCase{"missingTop", [](PlistValue& a, QList<PlistValue>&) { a.remove(u"$top"_s); }},
        MalformedCase{"wrongArchiver",
                      [](PlistValue& a, QList<PlistValue>&) {
                          a.insert(u"$archiver"_s, PlistValue::fromString(u"Other"_s));
                      }},
        MalformedCase{"wrongVersion",
                      [](PlistValue& a, QList<PlistValue>&) {
                          a.insert(u"$version"_s, PlistValue::fromInteger(7));
                      }},
        MalformedCase{"objectsNotAnArray",
                      [](PlistValue& a, QList<PlistValue>&) {
                          a.insert(u"$objects"_s, PlistValue::dictionary());
                      }},
        MalformedCase{
            "noNullFirst",
            [](PlistValue&, QList<PlistValue>& o) { o[0] = PlistValue::fromString(u"x"_s); }},
        MalformedCase{"tooDeep",
                      [](PlistValue&, QList<PlistValue>& o) {
                          // 200 arrays, each holding the next.
                          o.append(classEntry(u"NSArray"_s));
                          const quint64 arrayClass = quint64(o.size() - 1);
                          const quint64 first = quint64(o.size());
                          for (quint64 i = 0; i < 200; ++i) {
                              PlistValue array = PlistValue::dictionary();
                              array.insert(u"$class"_s, uid(arrayClass));
                              array.insert(u"NS.objects"_s,
                                           i + 1 < 200 ? refs({first + i + 1}) : refs({}));
                              o.append(array);
                          }
                          setRootEntry(o, u"NS.objects"_s, refs({first}));
                      }}),
    [](const testing::TestParamInfo<MalformedCase>& param) {
        return std::string(param.param.name);
    });

TEST(KeyedArchive, SharedObjectsAreDecodedOnce) {
    // 60 levels of arrays whose two elements are both the next level: 2^60 paths, 60 objects.
    const QByteArray bytes = archiveWith([](PlistValue&, QList<PlistValue>& o) {
        o.append(classEntry(u"NSArray"_s));
        const quint64 arrayClass = quint64(o.size() - 1);
        const quint64 first = quint64(o.size());
        for (quint64 i = 0; i < 60; ++i) {
            PlistValue array = PlistValue::dictionary();
            array.insert(u"$class"_s, uid(arrayClass));
            array.insert(u"NS.objects"_s,
                         i + 1 < 60 ? refs({first + i + 1, first + i + 1}) : refs({4}));
            o.append(array);
        }
        setRootEntry(o, u"NS.objects"_s, refs({first}));
    });
    QString error;
    const QVariant decoded = KeyedArchive::decode(bytes, &error);
    ASSERT_TRUE(decoded.isValid()) << qPrintable(error);
    QVariant level = decoded.toMap().value(u"k"_s);
    for (int i = 0; i < 59; ++i)
        level = level.toList().value(1);
    EXPECT_EQ(level.toList(), QVariantList{u"v"_s});
}

} // namespace
