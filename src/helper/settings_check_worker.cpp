#include "helper/settings_check_worker.h"

#include "helper/place_descriptors.h"

#include <QFile>

#include <cerrno>

#include <unistd.h>

using namespace Qt::StringLiterals;
using Mode = SettingsCheckWalk::Mode;

namespace {

// The whole frame or nothing more: a helper that went away ends the worker.
void emitFrame(char type, const QString& text) {
    const QByteArray bytes = SettingsCheckWorker::frame(type, text);
    for (qsizetype done = 0; done < bytes.size();) {
        const ssize_t put = ::write(STDOUT_FILENO, bytes.constData() + done,
                                    static_cast<size_t>(bytes.size() - done));
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            ::_exit(3);
        done += put;
    }
}

QList<QByteArray> components(const QString& joined) {
    QList<QByteArray> parts = QFile::encodeName(joined).split('/');
    parts.removeAll(QByteArray());
    return parts;
}

} // namespace

QByteArray SettingsCheckWorker::frame(char type, const QString& text) {
    const QByteArray utf8 = text.toUtf8().left(kMaxFrame);
    const auto size = static_cast<quint32>(utf8.size());
    QByteArray bytes;
    bytes.reserve(utf8.size() + 5);
    bytes.append(type);
    for (int shift = 0; shift < 32; shift += 8)
        bytes.append(static_cast<char>((size >> shift) & 0xff));
    return bytes + utf8;
}

QStringList SettingsCheckWorker::arguments(const AllowedPlaces::Target& folder, Mode mode,
                                           qsizetype skip) {
    const auto joined = [](const QList<QByteArray>& parts) {
        return QFile::decodeName(QByteArray(parts.join('/')));
    };
    return {kOption,
            mode == Mode::PropertyLists ? u"plist"_s : u"config"_s,
            folder.home.isEmpty() ? u"/"_s : folder.home,
            joined(folder.libraryPath),
            joined(folder.components),
            QString::number(skip)};
}

int SettingsCheckWorker::main(const QStringList& arguments) {
    if (arguments.size() != 5) {
        emitFrame(kFailure, u"The check was started wrongly."_s);
        return 2;
    }
    AllowedPlaces::Target folder;
    folder.home = arguments.at(1) == u"/"_s ? QString() : arguments.at(1);
    folder.libraryPath = components(arguments.at(2));
    folder.components = components(arguments.at(3));
    const Mode mode = arguments.at(0) == u"plist"_s ? Mode::PropertyLists : Mode::ConfigFiles;
    QString error;
    const UniqueFd fd = PlaceDescriptors::openFolder(folder, &error);
    if (!fd.isValid()) {
        emitFrame(kFailure, error);
        return 2;
    }
    SettingsCheckWalk walk(
        mode, [](const QString& path) { emitFrame(kBegin, path); },
        [](const QString& verdict) { emitFrame(kVerdict, verdict); });
    walk.run(fd.get(), folder.path(), arguments.at(4).toLongLong());
    return 0;
}
