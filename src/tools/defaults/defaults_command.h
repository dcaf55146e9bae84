#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

class DefaultsStore;
class PlistValue;

// Sorvane's `defaults` program: `domains`, `read [domain [key]]`,
// `write domain '<text property list>'`, `write domain key [-type] value...`
// and `delete domain [key]` over the defaults store of one home folder. It
// answers in the customary formats: the domain list joined by ", " with
// one line end, domains as old-style text, complaints on standard error with
// exit status 1 and nothing on standard output.
class DefaultsCommand {
public:
    struct Result {
        int exitCode = 0;
        QByteArray output; // UTF-8
        QString error;
    };

    static Result run(const QString& homeFolder, const QStringList& arguments);

private:
    static Result domains(const DefaultsStore& store);
    static Result read(const DefaultsStore& store, const QStringList& arguments);
    static Result write(const DefaultsStore& store, const QStringList& arguments);
    static Result remove(const DefaultsStore& store, const QStringList& arguments);
    // A value from the command line: a type flag and its words, or a text property list.
    static bool parseValue(const QStringList& words, PlistValue* value, QString* error);
};
