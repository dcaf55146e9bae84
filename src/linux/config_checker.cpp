#include "linux/config_checker.h"

#include "linux/gvdb_checker.h"
#include "linux/json_checker.h"
#include "linux/keyfile_checker.h"
#include "linux/xml_checker.h"
#include "platform/plist_checker.h"

#include <QByteArrayView>
#include <QStringList>

#include <cstring>

using namespace Qt::StringLiterals;

namespace {

using Format = ConfigChecker::Format;

bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}

QString lastComponent(const QString& path, qsizetype fromEnd) {
    QStringList parts = path.split(u'/', Qt::SkipEmptyParts);
    return parts.size() > fromEnd ? parts.at(parts.size() - 1 - fromEnd) : QString();
}

// The extension in lower case; a leading dot (".gtkrc") starts no extension.
QString extensionOf(const QString& name) {
    const qsizetype dot = name.lastIndexOf(u'.');
    return dot > 0 ? name.mid(dot + 1).toLower() : QString();
}

// dconf keeps the user's databases in a folder named dconf
// (~/.config/dconf/user and other profile databases) and the compiled
// system databases in /etc/dconf/db.
bool isDconfDatabasePath(const QString& path) {
    const QString name = lastComponent(path, 0);
    if (name.isEmpty() || name.contains(u'.'))
        return false;
    const QString parent = lastComponent(path, 1);
    return parent == u"dconf"_s || (parent == u"db"_s && lastComponent(path, 2) == u"dconf"_s);
}

// Names that only key files wear; Dolphin names its folder settings ".directory".
bool isKeyFileName(const QString& name, const QString& extension) {
    return extension == u"desktop"_s || extension == u"directory"_s || name == u".directory"_s ||
           name == u"mimeapps.list"_s || name.endsWith(u"-mimeapps.list"_s);
}

// KDE's rc files (and kdeglobals): KConfig files, open as they may be with
// entries of the default group. GTK 2's gtkrc is not one.
bool isKdeConfigName(const QString& name) {
    if (name == u"kdeglobals"_s)
        return true;
    return name.size() > 2 && name.endsWith(u"rc"_s) && !name.contains(u"gtkrc"_s);
}

// Extensions key files usually wear, as do files in other syntaxes now and then.
bool isLikelyKeyFileExtension(const QString& extension) {
    return extension == u"ini"_s || extension == u"conf"_s || extension == u"list"_s;
}

// Text files of other kinds, never checked as configuration: a log line
// "[12:00] started" or an HTML page would read as damaged.
bool isForeignExtension(const QString& extension) {
    static const QStringList foreign = {
        u"html"_s, u"htm"_s,  u"md"_s,   u"markdown"_s, u"txt"_s, u"log"_s, u"js"_s,  u"mjs"_s,
        u"ts"_s,   u"css"_s,  u"py"_s,   u"sh"_s,       u"lua"_s, u"vim"_s, u"el"_s,  u"csv"_s,
        u"tsv"_s,  u"sql"_s,  u"c"_s,    u"h"_s,        u"cpp"_s, u"svg"_s, u"dtd"_s, u"ent"_s,
        u"rst"_s,  u"sgml"_s, u"toml"_s, u"yaml"_s,     u"yml"_s, u"in"_s};
    return foreign.contains(extension);
}

// The head is the whole file when the file is shorter than headSize: a fault
// at its end is then the file's own, not where the head was cut.
bool isCutHead(QByteArrayView head) {
    return head.size() >= ConfigChecker::headSize;
}

// Binary data: a NUL byte or bytes that are not UTF-8 (but for a sequence cut
// where the head was cut from a longer file).
bool isBinary(QByteArrayView head) {
    const char* p = head.data();
    const char* end = p + head.size();
    while (p < end) {
        if (*p == 0)
            return true;
        const int length = ConfigChecker::utf8SequenceLength(p, end);
        if (length == 0)
            return !(isCutHead(head) && ConfigChecker::isCutUtf8Sequence(p, end));
        p += length;
    }
    return false;
}

// The first line that is not blank and not a comment.
QByteArrayView firstMeaningfulLine(QByteArrayView text) {
    while (!text.isEmpty()) {
        const qsizetype newline = text.indexOf('\n');
        const QByteArrayView line = (newline < 0 ? text : text.first(newline)).trimmed();
        if (!line.isEmpty() && line.front() != '#' && line.front() != ';')
            return line;
        if (newline < 0)
            break;
        text = text.sliced(newline + 1);
    }
    return {};
}

// "[Group]" or "[Group][Sub]": one or more bracketed names and nothing else.
bool isGroupHeader(QByteArrayView line) {
    if (line.size() < 3 || line.front() != '[' || line.back() != ']')
        return false;
    for (qsizetype i = 0; i < line.size();) {
        if (line.at(i) != '[')
            return false;
        const qsizetype close = line.indexOf(']', i + 1);
        if (close <= i + 1)
            return false;
        for (qsizetype c = i + 1; c < close; ++c) {
            if (line.at(c) == '[' || static_cast<unsigned char>(line.at(c)) < 0x20)
                return false;
        }
        i = close + 1;
    }
    return true;
}

// Text whose lines (but one cut by the end of the head) all read as a key
// file: a .conf file in another syntax fails within its first lines.
bool readsAsKeyFile(QByteArrayView head) {
    if (isCutHead(head)) {
        const qsizetype newline = head.lastIndexOf('\n');
        head = head.first(newline < 0 ? 0 : newline);
    }
    // Comments alone prove nothing: pg_hba.conf opens with a page of them.
    return !firstMeaningfulLine(head).isEmpty() &&
           KeyFileChecker::validate(head.toByteArray(), nullptr);
}

// KConfig's files open with a group, or with entries of the default group
// followed by groups; a shell script (xinitrc) has entries but no groups.
// The first line alone decides only when the file is that line cut short.
bool opensLikeKConfig(QByteArrayView text) {
    const QByteArrayView first = firstMeaningfulLine(text);
    if (isGroupHeader(first))
        return true;
    // A group header cut short ("[Composit"), not a shell test ("[ -f x ]").
    if (first.startsWith("[") && first.indexOf(']') < 0 && first.indexOf(' ') < 0)
        return true;
    if (first.indexOf('=') <= 0)
        return false;
    while (!text.isEmpty()) {
        const qsizetype newline = text.indexOf('\n');
        if (isGroupHeader((newline < 0 ? text : text.first(newline)).trimmed()))
            return true;
        if (newline < 0)
            break;
        text = text.sliced(newline + 1);
    }
    return false;
}

bool readsAsJson(QByteArrayView head) {
    bool cutShort = false;
    return JsonChecker::validate(head.toByteArray(), nullptr, &cutShort) ||
           (cutShort && isCutHead(head));
}

bool readsAsXml(QByteArrayView head) {
    bool cutShort = false;
    return XmlChecker::validate(head.toByteArray(), nullptr, &cutShort) ||
           (cutShort && isCutHead(head));
}

// An object opening with a key and its colon, as in {"key": ...; Pascal's
// "{ comment }" and other braces do not.
bool opensJsonObject(QByteArrayView text) {
    if (!text.startsWith("{"))
        return false;
    text = text.sliced(1).trimmed();
    if (!text.startsWith("\""))
        return false;
    for (qsizetype i = 1; i < text.size(); ++i) {
        const char c = text.at(i);
        if (c == '\\' || c == '\n')
            return false;
        if (c == '"')
            return text.sliced(i + 1).trimmed().startsWith(":");
    }
    return false;
}

bool isPropertyListXml(QByteArrayView head) {
    return head.indexOf("<!DOCTYPE plist") >= 0 || head.indexOf("<plist") >= 0;
}

// Markup that is not an XML document: HTML, and DTDs, which are declarations only.
bool isOtherMarkup(QByteArrayView text) {
    const QByteArray start = text.first(qMin<qsizetype>(text.size(), 64)).toByteArray().toLower();
    return start.startsWith("<!doctype html") || start.startsWith("<html") ||
           start.startsWith("<!element") || start.startsWith("<!entity") ||
           start.startsWith("<!attlist");
}

// UTF-16 text with a byte-order mark whose first character is '<'.
bool isWideXml(QByteArrayView head) {
    if (head.size() < 4)
        return false;
    if (head.startsWith("\xFF\xFE"))
        return head.at(2) == '<' && head.at(3) == 0;
    if (head.startsWith("\xFE\xFF"))
        return head.at(2) == 0 && head.at(3) == '<';
    return false;
}

// What the first bytes alone prove, whatever the name says.
Format formatBySignature(QByteArrayView head, QByteArrayView text) {
    if (head.startsWith("GVariant") || head.startsWith("raVGtnai"))
        return Format::Dconf;
    if (head.startsWith("bplist"))
        return Format::PropertyList;
    if (isWideXml(head))
        return Format::Xml;
    if (text.startsWith("<?xml") || (text.startsWith("<") && isPropertyListXml(head)))
        return isPropertyListXml(head) ? Format::PropertyList : Format::Xml;
    return Format::Unknown;
}

Format formatByName(const QString& path, const QString& name, QByteArrayView head,
                    QByteArrayView text) {
    const QString extension = extensionOf(name);
    if (extension == u"plist"_s)
        return Format::PropertyList;
    if (isDconfDatabasePath(path))
        return Format::Dconf;
    if (extension == u"json"_s)
        return Format::Json;
    if (extension == u"xml"_s || extension == u"xbel"_s)
        return Format::Xml;
    if (isKeyFileName(name, extension))
        return Format::KeyFile;
    const bool kde = isKdeConfigName(name);
    if (!kde && !isLikelyKeyFileExtension(extension))
        return Format::Unknown;
    // A .conf or rc file in another syntax (a shell script, libconfig, krb5's
    // profiles) is not damaged, just not ours to read: it is a key file when
    // its first lines read as one, or, for KDE's files, when it opens as
    // KConfig writes. A binary one is damaged whatever its syntax was meant to be.
    if (text.startsWith("<") && !isOtherMarkup(text))
        return Format::Xml;
    if (text.startsWith("{"))
        return Format::Json;
    if (head.isEmpty() || isBinary(head) || readsAsKeyFile(head) || (kde && opensLikeKConfig(text)))
        return Format::KeyFile;
    return Format::Unknown;
}

// Without a name that tells, the first bytes must read as the format (up to
// where the head was cut) or be binary: a README opening with "<https://",
// a log line "[12:00] started" or a Pascal file opening with "{ }" stays
// unknown, a broken settings file with binary junk is damaged.
Format formatByContent(QByteArrayView head, QByteArrayView text) {
    if (text.isEmpty())
        return Format::Unknown;
    // Latin-1 text is not UTF-8 but it is text: only NUL bytes mark binary junk here.
    const bool binary = head.indexOf('\0') >= 0;
    const bool bracketed = text.startsWith("{") || text.startsWith("[");
    // "[1, 2]" reads as a key file group as well; JSON is the likelier.
    if (bracketed && readsAsJson(head))
        return Format::Json;
    if (isGroupHeader(firstMeaningfulLine(text)) && (binary || readsAsKeyFile(head)))
        return Format::KeyFile;
    if (opensJsonObject(text) || (bracketed && binary))
        return Format::Json;
    if (text.startsWith("<") && !isOtherMarkup(text) && (binary || readsAsXml(head)))
        return Format::Xml;
    return Format::Unknown;
}

} // namespace

ConfigChecker::Format ConfigChecker::formatOf(const QString& fileName, const QByteArray& head) {
    const QByteArrayView bytes(head);
    QByteArrayView text = bytes;
    if (text.startsWith("\xEF\xBB\xBF"))
        text = text.sliced(3);
    while (!text.isEmpty() && isSpace(text.front()))
        text = text.sliced(1);
    const QString name = lastComponent(fileName, 0);
    // Templates, pages and sources are not settings, whatever they hold.
    if (isForeignExtension(extensionOf(name)))
        return Format::Unknown;
    if (const Format format = formatBySignature(bytes, text); format != Format::Unknown)
        return format;
    if (const Format format = formatByName(fileName, name, bytes, text); format != Format::Unknown)
        return format;
    return formatByContent(bytes, text);
}

QString ConfigChecker::check(Format format, const QByteArray& data) {
    if (format == Format::Unknown)
        return {};
    // The empty-file message is matched word for word by the results list.
    if (data.isEmpty())
        return u"Cannot parse a NULL or zero-length data"_s;
    QString error;
    switch (format) {
    case Format::Dconf:
        if (GvdbChecker::validate(data, &error))
            return u"OK"_s;
        return failure(Fault::DconfDamaged, u"dconf database is damaged: %1"_s.arg(error), {});
    case Format::KeyFile:
        if (KeyFileChecker::validate(data, &error))
            return u"OK"_s;
        return failure(Fault::KeyFileDamaged, u"Key file is damaged: %1"_s.arg(error), {});
    case Format::Json:
        if (JsonChecker::validate(data, &error))
            return u"OK"_s;
        return failure(Fault::JsonDamaged, u"JSON file is damaged: %1"_s.arg(error), {});
    case Format::Xml:
        if (XmlChecker::validate(data, &error))
            return u"OK"_s;
        return failure(Fault::XmlDamaged, u"XML file is damaged: %1"_s.arg(error), {});
    case Format::PropertyList:
        return PlistChecker::check(data);
    case Format::Unknown:
        break;
    }
    return {};
}

QString ConfigChecker::check(const QString& fileName, const QByteArray& data) {
    return check(formatOf(fileName, data.left(headSize)), data);
}

QString ConfigChecker::failure(Fault fault, const QString& summary, const QString& message) {
    const QString detail = message.isEmpty() ? summary : message;
    return u"%1 (Error Domain=SorvaneConfigErrorDomain Code=%2 \"%3\")"_s.arg(summary)
        .arg(int(fault))
        .arg(detail);
}

QString ConfigChecker::textPosition(const QByteArray& data, qsizetype offset) {
    offset = qBound<qsizetype>(0, offset, data.size());
    const char* begin = data.constData();
    qsizetype line = 1;
    const char* lineStart = begin;
    for (const char* p = begin; p < begin + offset; ++p) {
        if (*p == '\n') {
            ++line;
            lineStart = p + 1;
        }
    }
    qsizetype column = 1;
    for (const char* p = lineStart; p < begin + offset; ++p) {
        // Continuation bytes belong to the character before them.
        if ((static_cast<unsigned char>(*p) & 0xC0) != 0x80)
            ++column;
    }
    return u"line %1, column %2"_s.arg(line).arg(column);
}

int ConfigChecker::utf8SequenceLength(const char* p, const char* end) {
    const auto byte = [p](int i) { return static_cast<unsigned char>(p[i]); };
    const auto continuation = [&](int i) { return (byte(i) & 0xC0) == 0x80; };
    const qsizetype available = end - p;
    if (available <= 0)
        return 0;
    const unsigned char lead = byte(0);
    if (lead < 0x80)
        return 1;
    int length = 0;
    if (lead >= 0xC2 && lead <= 0xDF)
        length = 2;
    else if (lead >= 0xE0 && lead <= 0xEF)
        length = 3;
    else if (lead >= 0xF0 && lead <= 0xF4)
        length = 4;
    if (length == 0 || available < length)
        return 0;
    for (int i = 1; i < length; ++i) {
        if (!continuation(i))
            return 0;
    }
    // Overlong forms, surrogates and code points past U+10FFFF.
    if ((lead == 0xE0 && byte(1) < 0xA0) || (lead == 0xED && byte(1) > 0x9F) ||
        (lead == 0xF0 && byte(1) < 0x90) || (lead == 0xF4 && byte(1) > 0x8F))
        return 0;
    return length;
}

bool ConfigChecker::isCutUtf8Sequence(const char* p, const char* end) {
    const qsizetype available = end - p;
    if (available <= 0 || available >= 4)
        return false;
    // Complete the sequence with the smallest bytes its lead allows after it.
    char completed[4] = {};
    std::memcpy(completed, p, size_t(available));
    const unsigned char lead = static_cast<unsigned char>(completed[0]);
    for (qsizetype i = available; i < 4; ++i)
        completed[i] = char(0x80);
    if (available == 1 && lead == 0xE0)
        completed[1] = char(0xA0);
    if (available == 1 && lead == 0xF0)
        completed[1] = char(0x90);
    const int length = utf8SequenceLength(completed, completed + 4);
    return length > available;
}
