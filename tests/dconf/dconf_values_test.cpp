// Every kind of value dconf stores, written by Sorvane and read back by the
// real dconf program, and the other way round.
#include "dconf_fixture.h"

using namespace Qt::StringLiterals;

namespace {

struct ValueCase {
    const char* name;
    QString written; // as a user or "dconf load" writes it
    QString printed; // as "dconf read" and "dconf dump" print it
};

class DconfValueTest : public DconfFixture, public ::testing::WithParamInterface<ValueCase> {
protected:
    static QString domainText(const QString& value) {
        return u"[/]\nvalue=%1\n\n[sub/deeper]\nvalue=%1\n"_s.arg(value);
    }
};

TEST_P(DconfValueTest, RoundTripsThroughDconf) {
    const ValueCase& value = GetParam();
    const QString domain = u"org.sorvane.values."_s + QString::fromLatin1(value.name);
    const QString path = DconfDomains::pathOfDomain(domain);
    QString error;
    ASSERT_TRUE(domains.write(domain, domainText(value.written), &error)) << qPrintable(error);

    // What dconf itself reads back, with its type.
    EXPECT_EQ(dconfRead(path + u"value"_s), value.printed);
    EXPECT_EQ(dconfRead(path + u"sub/deeper/value"_s), value.printed);

    // Sorvane's text is dconf's dump, to the byte.
    const std::optional<QString> text = domains.read(domain);
    ASSERT_TRUE(text.has_value());
    EXPECT_EQ(*text, domainText(value.printed));
    EXPECT_EQ(*text, dconfDump(path));

    // dconf loads that text into the same values, and Sorvane writes it back unchanged.
    const QString copy = path.chopped(1) + u"-copy/"_s;
    const DconfSandbox::Run load = sandbox().dconf({u"load"_s, copy}, text->toUtf8());
    ASSERT_EQ(load.exitCode, 0) << qPrintable(load.err);
    EXPECT_EQ(dconfDump(copy), *text);
    ASSERT_TRUE(domains.write(domain, *text, &error)) << qPrintable(error);
    EXPECT_EQ(domains.read(domain), text);
}

INSTANTIATE_TEST_SUITE_P(
    Values, DconfValueTest,
    ::testing::Values(
        ValueCase{"string", uR"('it\'s "quoted"\nand on two lines')"_s,
                  uR"("it's \"quoted\"\nand on two lines")"_s},
        ValueCase{"unicode", u"'Grüße ✓'"_s, u"'Grüße ✓'"_s},
        ValueCase{"int16", u"int16 -32768"_s, u"int16 -32768"_s},
        ValueCase{"uint16", u"uint16 65535"_s, u"uint16 65535"_s},
        // int32 is GVariant's default integer: dconf writes it without a type.
        ValueCase{"int32", u"int32 -2147483648"_s, u"-2147483648"_s},
        ValueCase{"uint32", u"uint32 4294967295"_s, u"uint32 4294967295"_s},
        ValueCase{"int64", u"int64 -9223372036854775808"_s, u"int64 -9223372036854775808"_s},
        ValueCase{"uint64", u"uint64 18446744073709551615"_s, u"uint64 18446744073709551615"_s},
        ValueCase{"byte", u"byte 255"_s, u"byte 0xff"_s}, ValueCase{"double", u"3.25"_s, u"3.25"_s},
        ValueCase{"double-inexact", u"1.5e-7"_s, u"1.4999999999999999e-07"_s},
        ValueCase{"double-whole", u"2.0"_s, u"2.0"_s}, ValueCase{"boolean", u"false"_s, u"false"_s},
        ValueCase{"strings", u"['a', 'b c']"_s, u"['a', 'b c']"_s},
        ValueCase{"int16s", u"[int16 1, 2]"_s, u"[int16 1, 2]"_s},
        ValueCase{"bytestring", u"b'abc'"_s, u"b'abc'"_s},
        ValueCase{"tuple", u"(1, 'x', true)"_s, u"(1, 'x', true)"_s},
        ValueCase{"one-tuple", u"(int16 1,)"_s, u"(int16 1,)"_s},
        ValueCase{"dictionary", u"{'a': <1>, 'b': <'x'>}"_s, u"{'a': <1>, 'b': <'x'>}"_s},
        ValueCase{"int-dictionary", u"{'k': uint32 1}"_s, u"{'k': uint32 1}"_s},
        ValueCase{"variant", u"<<int64 5>>"_s, u"<<int64 5>>"_s},
        ValueCase{"empty-strings", u"@as []"_s, u"@as []"_s},
        ValueCase{"empty-dictionary", u"@a{sv} {}"_s, u"@a{sv} {}"_s},
        ValueCase{"nested-empty", u"[@as [], ['x']]"_s, u"[@as [], ['x']]"_s},
        ValueCase{"maybe-nothing", u"@ms nothing"_s, u"@ms nothing"_s},
        ValueCase{"maybe-just", u"just 5"_s, u"@mi 5"_s},
        ValueCase{"maybe-maybe", u"@mmi just nothing"_s, u"@mmi just nothing"_s},
        ValueCase{"maybes", u"[just 1, nothing]"_s, u"[@mi 1, nothing]"_s},
        ValueCase{"object-path", u"objectpath '/x/y'"_s, u"objectpath '/x/y'"_s},
        ValueCase{"signature", u"signature 'a{sv}'"_s, u"signature 'a{sv}'"_s},
        ValueCase{"handle", u"handle 3"_s, u"handle 3"_s}),
    [](const ::testing::TestParamInfo<ValueCase>& row) {
        QString name = QString::fromLatin1(row.param.name);
        return name.replace(u'-', u'_').toStdString();
    });

using DconfReadTest = DconfFixture;

TEST_F(DconfReadTest, ReadKeepsDumpOrderOfKeysAndGroups) {
    // Keys before subdirectories, each in byte order; a directory without
    // keys of its own has no group.
    dconfWrite(u"/org/sorvane/order/b"_s, u"1"_s);
    dconfWrite(u"/org/sorvane/order/B"_s, u"2"_s);
    dconfWrite(u"/org/sorvane/order/a/x/k"_s, u"3"_s);
    dconfWrite(u"/org/sorvane/order/z"_s, u"4"_s);
    dconfWrite(u"/org/sorvane/order/A/k"_s, u"5"_s);
    const QString expected = u"[/]\nB=2\nb=1\nz=4\n\n[A]\nk=5\n\n[a/x]\nk=3\n"_s;
    EXPECT_EQ(domains.read(u"org.sorvane.order"_s), expected);
    EXPECT_EQ(dconfDump(u"/org/sorvane/order/"_s), expected);
}

} // namespace
