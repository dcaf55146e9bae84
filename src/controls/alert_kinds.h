#pragma once

#include "workflows/alert_presenter.h"

#include <QString>

// The kinds of the alerts whose senders do not say (the packager's core and
// the self-deploying package raise theirs with texts alone): each known
// headline is a failure, a caution or news. An unknown headline is a caution,
// the icon every alert had before kinds existed.
class AlertKinds {
public:
    static AlertKind ofHeadline(const QString& message);
};
