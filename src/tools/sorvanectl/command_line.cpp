#include "command_line.h"

using namespace Qt::StringLiterals;

CommandLine::CommandLine(QList<Option> options)
    : options_(std::move(options)) {}

const CommandLine::Option* CommandLine::find(const QString& word) const {
    for (const Option& option : options_) {
        if (option.name == word || (!option.alias.isEmpty() && option.alias == word))
            return &option;
    }
    return nullptr;
}

QString CommandLine::value(const QString& name) const {
    const QStringList given = values_.value(name);
    return given.isEmpty() ? QString() : given.last();
}

bool CommandLine::parse(const QStringList& arguments) {
    values_.clear();
    operands_.clear();
    error_.clear();
    bool optionsEnded = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& word = arguments.at(i);
        if (optionsEnded || !word.startsWith(u'-') || word == u"-"_s) {
            operands_.append(word);
            continue;
        }
        if (word == u"--"_s) {
            optionsEnded = true;
            continue;
        }
        const qsizetype equals = word.startsWith(u"--"_s) ? word.indexOf(u'=') : -1;
        const QString name = equals < 0 ? word : word.left(equals);
        const Option* option = find(name);
        if (!option) {
            error_ = u"unknown option %1"_s.arg(name);
            return false;
        }
        QStringList& slot = values_[option->name];
        if (!option->takesValue) {
            if (equals >= 0) {
                error_ = u"%1 takes no value"_s.arg(name);
                return false;
            }
            slot.append(QString());
            continue;
        }
        if (equals >= 0) {
            slot.append(word.mid(equals + 1));
        } else if (i + 1 < arguments.size()) {
            slot.append(arguments.at(++i));
        } else {
            error_ = u"%1 needs a value"_s.arg(name);
            return false;
        }
    }
    return true;
}
