#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>

// Where sorvanectl speaks. Text goes to standard output as it comes; with
// --json, standard output carries exactly one JSON document instead, written
// when the command ends. Complaints are single lines on standard error in
// both modes. Progress goes to standard error only when that is a terminal,
// so that scripts and logs never see it.
class CtlOutput {
public:
    // Exit statuses: done, something found or failed, wrong usage.
    static constexpr int kSuccess = 0;
    static constexpr int kFailure = 1;
    static constexpr int kUsage = 2;

    explicit CtlOutput(bool json);

    bool json() const { return json_; }
    // One line of text output (nothing in JSON mode).
    void line(const QString& text = QString());
    // One line on standard error, "sorvanectl: <text>"; the first one is
    // also the document's "error".
    void complain(const QString& text);
    // A line on standard error about something the command goes on without;
    // listed in the document's "warnings", never its "error".
    void warn(const QString& text);
    // A progress line on a terminal, replaced by the next one.
    void progress(const QString& text);
    void endProgress();

    // Ends the command: in JSON mode writes the document with "command",
    // "status" and, after a complaint, "error". Returns status. Only the
    // first call writes: a usage complaint has already ended the command.
    int finish(const QString& command, int status, QJsonObject document = {});
    // A usage error: one line naming the command's help, status 2.
    int usage(const QString& command, const QString& problem);

private:
    static void write(bool toError, const QString& text);
    void writeErrorLine(const QString& text);

    bool json_;
    bool progressShown_ = false;
    bool finished_ = false;
    bool terminal_;
    QString firstComplaint_;
    QStringList warnings_;
};
