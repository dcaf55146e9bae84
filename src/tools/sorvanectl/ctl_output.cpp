#include "ctl_output.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <cstdio>

#include <unistd.h>

using namespace Qt::StringLiterals;

CtlOutput::CtlOutput(bool json)
    : json_(json)
    , terminal_(::isatty(STDERR_FILENO) == 1) {}

void CtlOutput::write(bool toError, const QString& text) {
    const QByteArray bytes = text.toUtf8();
    FILE* stream = toError ? stderr : stdout;
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
    std::fflush(stream);
}

void CtlOutput::line(const QString& text) {
    if (json_)
        return;
    endProgress();
    write(false, text + u'\n');
}

void CtlOutput::writeErrorLine(const QString& text) {
    endProgress();
    write(true, u"sorvanectl: "_s + text + u'\n');
}

void CtlOutput::complain(const QString& text) {
    // One line, whatever the text carries.
    const QString single = QString(text).replace(u'\n', u' ');
    if (firstComplaint_.isNull())
        firstComplaint_ = single;
    writeErrorLine(single);
}

void CtlOutput::warn(const QString& text) {
    const QString single = QString(text).replace(u'\n', u' ');
    warnings_.append(single);
    writeErrorLine(single);
}

void CtlOutput::progress(const QString& text) {
    if (!terminal_)
        return;
    // Carriage return and erase-line: each step replaces the last.
    write(true, u"\r\x1b[K"_s + text);
    progressShown_ = true;
}

void CtlOutput::endProgress() {
    if (!progressShown_)
        return;
    write(true, u"\r\x1b[K"_s);
    progressShown_ = false;
}

int CtlOutput::finish(const QString& command, int status, QJsonObject document) {
    endProgress();
    if (!json_ || finished_)
        return status;
    finished_ = true;
    document.insert(u"command"_s, command);
    document.insert(u"status"_s, status);
    if (!firstComplaint_.isNull())
        document.insert(u"error"_s, firstComplaint_);
    if (!warnings_.isEmpty())
        document.insert(u"warnings"_s, QJsonArray::fromStringList(warnings_));
    write(false, QString::fromUtf8(QJsonDocument(document).toJson(QJsonDocument::Indented)));
    return status;
}

int CtlOutput::usage(const QString& command, const QString& problem) {
    const QString help =
        command.isEmpty() ? u"sorvanectl --help"_s : u"sorvanectl %1 --help"_s.arg(command);
    complain(
        u"%1%2 (see %3)"_s.arg(command.isEmpty() ? QString() : command + u": "_s, problem, help));
    return finish(command, kUsage);
}
