#include "defaults_command.h"

#include "platform/defaults_store.h"
#include "platform/plist_text_format.h"
#include "platform/plist_value.h"

#include <numeric>

using namespace Qt::StringLiterals;

namespace {

const QString usage = u"usage: defaults domains\n"
                      u"       defaults read [domain [key]]\n"
                      u"       defaults write domain '<property list>'\n"
                      u"       defaults write domain key [-string|-int|-float|-bool|-date|"
                      u"-data|-array|-dict] value...\n"
                      u"       defaults delete domain [key]\n"_s;

DefaultsCommand::Result failure(const QString& message) {
    return {1, {}, message.endsWith(u'\n') ? message : message + u'\n'};
}

DefaultsCommand::Result success(const QString& output = {}) {
    return {0, output.toUtf8(), {}};
}

QString domainArgument(const QString& argument) {
    return argument == u"-g"_s || argument == u"-globalDomain"_s ? DefaultsStore::globalDomain
                                                                 : argument;
}

// A single value the customary way: strings bare, numbers plain.
QString describe(const PlistValue& value) {
    switch (value.type()) {
    case PlistValue::Type::String:
        return value.toString() + u'\n';
    case PlistValue::Type::Integer:
        return QString::number(value.toInteger()) + u'\n';
    case PlistValue::Type::UnsignedInteger:
        return QString::number(value.toUnsigned()) + u'\n';
    case PlistValue::Type::Real:
        return PlistTextFormat::formatReal(value.toReal()) + u'\n';
    case PlistValue::Type::Boolean:
        return value.toBool() ? u"1\n"_s : u"0\n"_s;
    case PlistValue::Type::Date:
        return PlistTextFormat::formatDate(value.toDate()) + u'\n';
    default:
        return PlistTextFormat::write(value);
    }
}

bool parseScalar(const QString& flag, const QString& word, PlistValue* value) {
    bool ok = true;
    if (flag == u"-string"_s) {
        *value = PlistValue::fromString(word);
    } else if (flag == u"-int"_s || flag == u"-integer"_s) {
        const qint64 integer = word.toLongLong(&ok);
        *value = PlistValue::fromInteger(integer);
        if (!ok) {
            const quint64 unsignedInteger = word.toULongLong(&ok);
            *value = PlistValue::fromUnsigned(unsignedInteger);
        }
    } else if (flag == u"-float"_s) {
        *value = PlistValue::fromReal(word.toLatin1().toDouble(&ok));
    } else if (flag == u"-bool"_s || flag == u"-boolean"_s) {
        const QString lower = word.toLower();
        ok = lower == u"yes"_s || lower == u"true"_s || lower == u"1"_s || lower == u"no"_s ||
             lower == u"false"_s || lower == u"0"_s;
        *value = PlistValue::fromBool(lower == u"yes"_s || lower == u"true"_s || lower == u"1"_s);
    } else if (flag == u"-date"_s) {
        double seconds = 0;
        ok = PlistTextFormat::parseDate(word, &seconds);
        *value = PlistValue::fromDate(seconds);
    } else if (flag == u"-data"_s) {
        const QByteArray hex = word.toLatin1();
        const QByteArray bytes = QByteArray::fromHex(hex);
        ok = hex.size() % 2 == 0 && bytes.size() * 2 == hex.size();
        *value = PlistValue::fromData(bytes);
    } else {
        return false;
    }
    return ok;
}

bool isScalarFlag(const QString& word) {
    static const QStringList flags = {u"-string"_s, u"-int"_s,     u"-integer"_s, u"-float"_s,
                                      u"-bool"_s,   u"-boolean"_s, u"-date"_s,    u"-data"_s};
    return flags.contains(word);
}

// Elements of -array and -dict: each may carry its own scalar type flag.
bool takeElement(const QStringList& words, qsizetype* at, PlistValue* value, QString* error) {
    if (*at >= words.size()) {
        *error = u"Missing value"_s;
        return false;
    }
    const QString word = words.at(*at);
    if (isScalarFlag(word)) {
        if (*at + 1 >= words.size()) {
            *error = u"Missing value after %1"_s.arg(word);
            return false;
        }
        *at += 2;
        if (parseScalar(word, words.at(*at - 1), value))
            return true;
        *error = u"Cannot read \"%1\" as %2"_s.arg(words.at(*at - 1), word.mid(1));
        return false;
    }
    ++*at;
    *value = PlistValue::fromString(word);
    return true;
}

} // namespace

DefaultsCommand::Result DefaultsCommand::run(const QString& homeFolder,
                                             const QStringList& arguments) {
    const DefaultsStore store(homeFolder);
    const QString verb = arguments.value(0);
    const QStringList rest = arguments.mid(1);
    if (verb == u"domains"_s && rest.isEmpty())
        return domains(store);
    if (verb == u"read"_s && rest.size() <= 2)
        return read(store, rest);
    if (verb == u"write"_s && rest.size() >= 2)
        return write(store, rest);
    if (verb == u"delete"_s && !rest.isEmpty() && rest.size() <= 2)
        return remove(store, rest);
    return failure(usage);
}

DefaultsCommand::Result DefaultsCommand::domains(const DefaultsStore& store) {
    // Joined as bytes: over thousands of domains every conversion shows.
    const std::vector<std::string> names = store.domainsUtf8();
    DefaultsCommand::Result result;
    result.output.reserve(std::accumulate(
        names.cbegin(), names.cend(), qsizetype(1),
        [](qsizetype size, const std::string& name) { return size + qsizetype(name.size()) + 2; }));
    for (const std::string& name : names) {
        if (!result.output.isEmpty())
            result.output += ", ";
        result.output.append(name.data(), qsizetype(name.size()));
    }
    result.output += '\n';
    return result;
}

DefaultsCommand::Result DefaultsCommand::read(const DefaultsStore& store,
                                              const QStringList& arguments) {
    QString error;
    if (arguments.isEmpty()) {
        PlistValue all = PlistValue::dictionary();
        QStringList names = store.domains();
        if (store.domainExists(DefaultsStore::globalDomain))
            names.prepend(DefaultsStore::globalDomain);
        for (const QString& name : std::as_const(names)) {
            const PlistValue domain = store.readDomain(name, &error);
            if (domain.isValid())
                all.insert(name, domain);
        }
        return success(PlistTextFormat::write(all));
    }
    const QString domain = domainArgument(arguments.at(0));
    const PlistValue contents = store.readDomain(domain, &error);
    if (!contents.isValid())
        return failure(error);
    if (arguments.size() == 1)
        return success(PlistTextFormat::write(contents));
    const PlistValue* value = contents.find(arguments.at(1));
    if (!value)
        return failure(u"The domain/default pair of (%1, %2) does not exist"_s.arg(
            arguments.at(0), arguments.at(1)));
    return success(describe(*value));
}

bool DefaultsCommand::parseValue(const QStringList& words, PlistValue* value, QString* error) {
    const QString flag = words.at(0);
    if (flag == u"-array"_s || flag == u"-dict"_s) {
        const bool isArray = flag == u"-array"_s;
        *value = isArray ? PlistValue::array() : PlistValue::dictionary();
        for (qsizetype at = 1; at < words.size();) {
            if (!isArray) {
                const QString key = words.at(at++);
                PlistValue element;
                if (!takeElement(words, &at, &element, error))
                    return false;
                value->insert(key, element);
                continue;
            }
            PlistValue element;
            if (!takeElement(words, &at, &element, error))
                return false;
            value->append(element);
        }
        return true;
    }
    if (isScalarFlag(flag)) {
        if (words.size() != 2) {
            *error = u"%1 takes exactly one value"_s.arg(flag);
            return false;
        }
        if (parseScalar(flag, words.at(1), value))
            return true;
        *error = u"Cannot read \"%1\" as %2"_s.arg(words.at(1), flag.mid(1));
        return false;
    }
    if (words.size() != 1) {
        *error = u"Unexpected arguments after the value"_s;
        return false;
    }
    // An untyped value is a text property list when it reads as one, else a plain string.
    QString ignored;
    *value = PlistTextFormat::parse(words.at(0), &ignored);
    if (!value->isValid())
        *value = PlistValue::fromString(words.at(0));
    return true;
}

DefaultsCommand::Result DefaultsCommand::write(const DefaultsStore& store,
                                               const QStringList& arguments) {
    const QString domain = domainArgument(arguments.at(0));
    QString error;
    if (!DefaultsStore::isValidDomainName(domain))
        return failure(u"Invalid domain name \"%1\""_s.arg(domain));
    if (arguments.size() == 2) {
        const PlistValue contents = PlistTextFormat::parse(arguments.at(1), &error);
        if (!contents.isDictionary())
            return failure(
                contents.isValid()
                    ? u"Could not write domain %1: the value is not a dictionary"_s.arg(domain)
                    : u"Could not parse the property list: %1"_s.arg(error));
        if (!store.writeDomain(domain, contents, &error))
            return failure(error);
        return success();
    }
    PlistValue value;
    if (!parseValue(arguments.mid(2), &value, &error))
        return failure(error);
    PlistValue contents = PlistValue::dictionary();
    if (store.domainExists(domain)) {
        contents = store.readDomain(domain, &error);
        if (!contents.isValid())
            return failure(error);
    }
    contents.insert(arguments.at(1), value);
    if (!store.writeDomain(domain, contents, &error))
        return failure(error);
    return success();
}

DefaultsCommand::Result DefaultsCommand::remove(const DefaultsStore& store,
                                                const QStringList& arguments) {
    const QString domain = domainArgument(arguments.at(0));
    QString error;
    if (arguments.size() == 1)
        return store.deleteDomain(domain, &error) ? success() : failure(error);
    PlistValue contents = store.readDomain(domain, &error);
    if (!contents.isValid())
        return failure(error);
    if (!contents.remove(arguments.at(1)))
        return failure(u"The domain/default pair of (%1, %2) does not exist"_s.arg(
            arguments.at(0), arguments.at(1)));
    return store.writeDomain(domain, contents, &error) ? success() : failure(error);
}
