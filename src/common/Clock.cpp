#include "common/Clock.h"

#include <chrono>

namespace mavo {

double SystemClock::uptime() const {
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

double SystemClock::wallClock() const {
    using namespace std::chrono;
    return duration<double>(system_clock::now().time_since_epoch()).count();
}

SystemClock& SystemClock::shared() {
    static SystemClock clock;
    return clock;
}

}  // namespace mavo
