#include "stream_alert_presenter.h"

#include <QStringList>

using namespace Qt::StringLiterals;

StreamAlertPresenter::StreamAlertPresenter(QTextStream& stream)
    : stream_(stream) {}

void StreamAlertPresenter::showAlert(const QString& message, const QString& informative) {
    QStringList parts;
    if (!message.isEmpty())
        parts.append(message);
    if (!informative.isEmpty())
        parts.append(informative);
    printLine(parts.join(u": "_s));
}

void StreamAlertPresenter::printLine(const QString& text) {
    // A text may span lines; the terminal gets one line per complaint.
    stream_ << u"sorvane-deploy: "_s << QString(text).replace(u'\n', u' ') << Qt::endl;
}
