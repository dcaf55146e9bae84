#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

#include <map>
#include <optional>
#include <string>

// Sets environment variables for one test and puts back what was there, unset
// ones included, when it goes.
class ScopedEnvironment {
public:
    ScopedEnvironment() = default;
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;
    ~ScopedEnvironment() {
        for (const auto& [name, value] : saved_) {
            if (value)
                qputenv(name.c_str(), *value);
            else
                qunsetenv(name.c_str());
        }
    }

    void set(const char* name, const QString& value) {
        remember(name);
        qputenv(name, QFile::encodeName(value));
    }
    void unset(const char* name) {
        remember(name);
        qunsetenv(name);
    }

private:
    void remember(const char* name) {
        if (!saved_.count(name))
            saved_[name] = qEnvironmentVariableIsSet(name) ? std::optional(qgetenv(name))
                                                           : std::optional<QByteArray>();
    }

    std::map<std::string, std::optional<QByteArray>> saved_;
};
