#pragma once

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

// The options and operands of one sorvanectl command. Options are known in
// advance; "--name value", "--name=value" and "-o value" are accepted, "--"
// ends the options, and every other word is an operand.
class CommandLine {
public:
    struct Option {
        Option(QString optionName, bool optionTakesValue = false, QString optionAlias = {})
            : name(std::move(optionName))
            , takesValue(optionTakesValue)
            , alias(std::move(optionAlias)) {}

        QString name; // with its dashes: "--dry-run", "-o"
        bool takesValue = false;
        QString alias; // another spelling, or empty
    };

    explicit CommandLine(QList<Option> options);

    // False with error() filled for an unknown option or a missing value.
    bool parse(const QStringList& arguments);
    QString error() const { return error_; }

    bool isSet(const QString& name) const { return values_.contains(name); }
    // The last value given, or a null string.
    QString value(const QString& name) const;
    QStringList values(const QString& name) const { return values_.value(name); }
    QStringList operands() const { return operands_; }

private:
    const Option* find(const QString& word) const;

    QList<Option> options_;
    QMap<QString, QStringList> values_;
    QStringList operands_;
    QString error_;
};
