#pragma once

#include "packager/sv_pp_item.h"

#include <QImage>
#include <QStringList>

#include <memory>

// Ticked packager rows as tests build them.
inline std::shared_ptr<SVPPItem> tickedComponent(const QString& name, const QStringList& domains) {
    auto item = std::make_shared<SVPPItem>();
    item->setDisplayName(name);
    for (const QString& domain : domains)
        item->addDomain(domain);
    item->setEnabled(true);
    return item;
}

// An application row packs the domain named after its identifier.
inline std::shared_ptr<SVPPItem> tickedApplication(const QString& name, const QString& id) {
    auto item = tickedComponent(name, {id});
    item->setAppId(id);
    QImage icon(64, 64, QImage::Format_ARGB32);
    icon.fill(Qt::darkGreen);
    item->setIcon(icon);
    return item;
}
