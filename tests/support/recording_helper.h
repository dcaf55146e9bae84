#pragma once

#include "workflows/helper_operations.h"

#include <QStringList>

#include <functional>

// Stands in for the helper where a test needs answers the real helper would
// not give on demand (a late or a reversed answer); records every request.
class RecordingHelper : public HelperOperations {
public:
    QStringList calls;
    std::function<bool(const QString&)> deleteDomainAnswer = [](const QString&) { return true; };
    std::function<bool(const QUrl&)> deleteFileAnswer = [](const QUrl&) { return false; };
    std::optional<QMap<QString, QString>> checkAnswer;
    std::function<void()> onCheck;

    bool deleteDefaultsDomain(const QString& domain) override {
        calls.append(QStringLiteral("deleteDefaultsDomain ") + domain);
        return deleteDomainAnswer(domain);
    }
    bool deleteFileAtUrl(const QUrl& file) override {
        calls.append(QStringLiteral("deleteFileAtUrl ") + file.toLocalFile());
        return deleteFileAnswer(file);
    }
    std::optional<QMap<QString, QString>> checkPlistsAtUrl(const QUrl& folder) override {
        calls.append(QStringLiteral("checkPlistsAtUrl ") + folder.toLocalFile());
        if (onCheck)
            onCheck();
        return checkAnswer;
    }
    void cancelPlutilChecks() override { calls.append(QStringLiteral("cancelPlutilChecks")); }
    void rebootComputer() override { calls.append(QStringLiteral("rebootComputer")); }
};
