#pragma once

#include <QString>
#include <QStringList>

#include <ostream>

// Readable GoogleTest failure messages for Qt strings.
inline void PrintTo(const QString& string, std::ostream* out) {
    *out << '"' << string.toStdString() << '"';
}

inline void PrintTo(const QStringList& list, std::ostream* out) {
    *out << '{';
    for (qsizetype i = 0; i < list.size(); ++i) {
        if (i > 0)
            *out << ", ";
        PrintTo(list.at(i), out);
    }
    *out << '}';
}
