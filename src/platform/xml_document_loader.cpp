#include "platform/xml_document_loader.h"

#include "util/logging.h"

#include <QFile>
#include <QXmlStreamReader>

using namespace Qt::StringLiterals;

namespace {

// Builds the DOM from the stream, holding back blank text until it is known
// whether it is the whole content of its element.
class DomBuilder {
public:
    explicit DomBuilder(QXmlStreamReader& reader)
        : reader_(reader)
        // A named document is a real (non-null) one that nodes can be added to.
        , document_(QString())
        , current_(document_) {}

    bool build() {
        while (!reader_.atEnd()) {
            switch (reader_.readNext()) {
            case QXmlStreamReader::StartElement:
                startElement();
                break;
            case QXmlStreamReader::EndElement:
                endElement();
                break;
            case QXmlStreamReader::Characters:
                characters();
                break;
            case QXmlStreamReader::Comment:
                append(document_.createComment(reader_.text().toString()));
                break;
            case QXmlStreamReader::ProcessingInstruction:
                append(document_.createProcessingInstruction(
                    reader_.processingInstructionTarget().toString(),
                    reader_.processingInstructionData().toString()));
                break;
            default:
                break;
            }
        }
        return !reader_.hasError();
    }

    QDomDocument document() const { return document_; }

private:
    void startElement() {
        QDomElement element = document_.createElement(reader_.qualifiedName().toString());
        const QXmlStreamAttributes attributes = reader_.attributes();
        for (const QXmlStreamAttribute& attribute : attributes)
            element.setAttribute(attribute.qualifiedName().toString(),
                                 attribute.value().toString());
        append(element);
        current_ = element;
    }

    void endElement() {
        // Blank content of its own, or blank text ending a text run, is kept.
        if (!pendingBlank_.isNull() && (!current_.hasChildNodes() || current_.lastChild().isText()))
            current_.appendChild(document_.createTextNode(pendingBlank_));
        pendingBlank_ = QString();
        current_ = current_.parentNode();
    }

    void characters() {
        const QString text = reader_.text().toString();
        // Blank text that continues a text run (around an entity) is part of it.
        if (reader_.isWhitespace() && !reader_.isCDATA() && !current_.lastChild().isText()) {
            pendingBlank_ += text;
            return;
        }
        // Blank text that leads into text is part of it too.
        if (!pendingBlank_.isNull())
            current_.appendChild(document_.createTextNode(pendingBlank_));
        if (reader_.isCDATA())
            append(document_.createCDATASection(text));
        else
            append(document_.createTextNode(text));
    }

    // Markup other than text ends a blank run: that blank was layout.
    void append(const QDomNode& node) {
        pendingBlank_ = QString();
        current_.appendChild(node);
    }

    QXmlStreamReader& reader_;
    QDomDocument document_;
    QDomNode current_;
    QString pendingBlank_;
};

std::optional<QDomDocument> parse(QXmlStreamReader& reader, QString* error) {
    DomBuilder builder(reader);
    if (!builder.build()) {
        if (error)
            *error = u"%1 (line %2, column %3)"_s.arg(reader.errorString())
                         .arg(reader.lineNumber())
                         .arg(reader.columnNumber());
        return std::nullopt;
    }
    QDomDocument document = builder.document();
    if (document.documentElement().isNull()) {
        if (error)
            *error = u"The document has no root element"_s;
        return std::nullopt;
    }
    return document;
}

} // namespace

std::optional<QDomDocument> XmlDocumentLoader::loadFile(const QString& path, QString* error) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = file.errorString();
        return std::nullopt;
    }
    return loadData(file.readAll(), error);
}

std::optional<QDomDocument> XmlDocumentLoader::loadData(const QByteArray& data, QString* error) {
    QXmlStreamReader reader(data);
    return parse(reader, error);
}

std::optional<QDomElement> XmlDocumentLoader::catalogueElement(const QDomNode& node,
                                                               const QString& tagName,
                                                               const QString& method) {
    if (node.isNull()) {
        sv::log(u"%1 called with nil XML element"_s.arg(method));
        return std::nullopt;
    }
    const QString name = node.isElement() ? node.toElement().tagName() : QString();
    if (name != tagName) {
        sv::log(u"%1 called with incorrect XML element: %2"_s.arg(method, name));
        return std::nullopt;
    }
    return node.toElement();
}
