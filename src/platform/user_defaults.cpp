#include "platform/user_defaults.h"

#include "platform/defaults_store.h"
#include "platform/library_folders.h"

using namespace Qt::StringLiterals;

const QString UserDefaults::kDomain = u"com.brisvale.Sorvane"_s;

PlistValue UserDefaults::objectForKey(const QString& key) {
    const DefaultsStore store(LibraryFolders::homeFolder());
    if (!store.domainExists(kDomain))
        return {};
    QString error;
    const PlistValue domain = store.readDomain(kDomain, &error);
    const PlistValue* value = domain.isDictionary() ? domain.find(key) : nullptr;
    return value ? *value : PlistValue();
}

qint64 UserDefaults::integerForKey(const QString& key) {
    const PlistValue value = objectForKey(key);
    return value.type() == PlistValue::Type::Integer ? value.toInteger() : 0;
}

bool UserDefaults::setObject(const QString& key, const PlistValue& value, QString* error) {
    QString ignored;
    QString& message = error ? *error : ignored;
    const DefaultsStore store(LibraryFolders::homeFolder());
    PlistValue domain = store.domainExists(kDomain) ? store.readDomain(kDomain, &message)
                                                    : PlistValue::dictionary();
    if (!domain.isDictionary())
        domain = PlistValue::dictionary();
    domain.insert(key, value);
    return store.writeDomain(kDomain, domain, &message);
}
