#pragma once

#include "analytics/AnalyticsEvent.h"

namespace mavo {

// Describes the running system for analytics. Read again for every event, so that a change of
// locale, for example, shows in the next event.
class SystemPropsSource {
  public:
    virtual ~SystemPropsSource() = default;
    virtual SystemProps read() const = 0;
};

}  // namespace mavo
