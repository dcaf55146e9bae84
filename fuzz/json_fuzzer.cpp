// The JSON check. A document it accepts must be one QJsonDocument reads too
// (inside an array, as Qt wants one at the top), short of Qt's own limits:
// 1024 levels of nesting and numbers past a double's range, and short of the
// comments and trailing commas the check takes and Qt does not. Every proper
// prefix of a small accepted document must be refused as cut short.
#include "linux/json_checker.h"

#include <QJsonDocument>

#include <cstdlib>

namespace {

// What QJsonDocument refuses for reasons of its own.
bool withinQtLimits(const QByteArray& data) {
    if (data.count('[') + data.count('{') > 1000 || data.contains('/'))
        return false;
    for (qsizetype i = data.indexOf(','); i >= 0; i = data.indexOf(',', i + 1)) {
        qsizetype next = i + 1;
        while (next < data.size() && QByteArrayView(" \t\r\n").contains(data.at(next)))
            ++next;
        if (next < data.size() && (data.at(next) == ']' || data.at(next) == '}'))
            return false;
    }
    int digits = 0;
    for (qsizetype i = 0; i < data.size(); ++i) {
        const char c = data.at(i);
        const bool digit = c >= '0' && c <= '9';
        digits = digit ? digits + 1 : 0;
        if (digits > 300)
            return false;
        if ((c == 'e' || c == 'E') && i > 0 &&
            ((data.at(i - 1) >= '0' && data.at(i - 1) <= '9') || data.at(i - 1) == '.'))
            return false;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    QString error;
    bool cutShort = false;
    if (!JsonChecker::validate(bytes, &error, &cutShort)) {
        if (!error.contains(QStringLiteral(" at line ")))
            std::abort();
        return 0;
    }
    if (cutShort)
        std::abort();
    QByteArray text = bytes;
    if (text.startsWith("\xEF\xBB\xBF"))
        text.remove(0, 3);
    if (withinQtLimits(text)) {
        QJsonParseError qtError;
        QJsonDocument::fromJson("[" + text + "]", &qtError);
        if (qtError.error != QJsonParseError::NoError)
            std::abort();
    }
    if (text.size() <= 256 && text.size() == bytes.size()) {
        for (qsizetype length = 0; length < text.size(); ++length) {
            bool prefixCut = false;
            if (!JsonChecker::validate(text.left(length), nullptr, &prefixCut) && !prefixCut)
                std::abort();
        }
    }
    return 0;
}
