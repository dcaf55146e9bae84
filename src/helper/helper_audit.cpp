#include "helper/helper_audit.h"

#include "util/logging.h"

#include <QFile>

using namespace Qt::StringLiterals;

namespace {

QString& auditFile() {
    static QString path;
    return path;
}

} // namespace

void HelperAudit::setAuditFile(const QString& path) {
    auditFile() = path;
}

QString HelperAudit::escape(const QByteArray& bytes) {
    QString result;
    result.reserve(bytes.size());
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte > 0x20 && byte < 0x7f && c != '\\' && c != '"')
            result += QLatin1Char(c);
        else
            result += u"\\x%1"_s.arg(static_cast<uint>(byte), 2, 16, QLatin1Char('0'));
    }
    return result;
}

QString HelperAudit::format(const Entry& entry) {
    return u"Helper audit: request=%1 caller=%2 uid=%3 pid=%4 action=%5 verdict=%6 operation=%7 "
           u"target=\"%8\""_s.arg(entry.request)
               .arg(entry.caller.isEmpty() ? u"-"_s : escape(entry.caller.toUtf8()))
               .arg(entry.uid == static_cast<uid_t>(-1) ? u"-"_s : QString::number(entry.uid))
               .arg(entry.pid < 0 ? u"-"_s : QString::number(entry.pid))
               .arg(entry.action.isEmpty() ? u"-"_s : entry.action, entry.verdict,
                    escape(entry.operation.toUtf8()), escape(entry.target));
}

void HelperAudit::record(const Entry& entry) {
    const QString line = format(entry);
    sv::log(line);
    if (auditFile().isEmpty())
        return;
    QFile file(auditFile());
    if (file.open(QIODevice::WriteOnly | QIODevice::Append))
        file.write(line.toUtf8() + '\n');
}
