#pragma once

#include "workflows/alert_presenter.h"
#include "workflows/defaults_domain_runner.h"
#include "workflows/running_application_query.h"

#include <QList>
#include <QPair>
#include <QStringList>

#include <functional>

// Records the domains handed to the defaults program.
class RecordingDefaultsRunner : public DefaultsDomainRunner {
public:
    QStringList deleted;
    bool answer = true;
    bool deleteDefaultDomain(const QString& domain) override {
        deleted.append(domain);
        return answer;
    }
};

// Answers "is it running?" from a script of answers, one per question.
class ScriptedRunningApplications : public RunningApplicationQuery {
public:
    QList<bool> answers;
    int asked = 0;
    bool isRunning(const QString&) override {
        const bool running = asked < answers.size() ? answers.at(asked) : false;
        ++asked;
        return running;
    }
};

// Records alerts and runs a hook while the alert is "open".
class RecordingAlerts : public AlertPresenter {
public:
    QList<QPair<QString, QString>> shown;
    std::function<void()> whileShown;
    void showAlert(const QString& message, const QString& informative) override {
        shown.append({message, informative});
        if (whileShown)
            whileShown();
    }
};
