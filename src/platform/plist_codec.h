#pragma once

#include "platform/plist_value.h"

#include <QByteArray>
#include <QString>

// The single entry point for reading and writing property lists: it tells the
// three formats apart by their first bytes and hands the data to the reader of
// that format.
class PlistCodec {
public:
    enum class Format { Binary, Xml, Text };

    static Format detectFormat(const QByteArray& data);
    // An invalid value and *error on failure; empty data is a failure too.
    static PlistValue read(const QByteArray& data, QString* error, Format* format = nullptr);
    // Binary and text only: Sorvane never writes XML.
    static QByteArray write(const PlistValue& value, Format format = Format::Binary);
};
