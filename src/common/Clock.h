#pragma once

namespace mavo {

// Engine timing uses uptime (monotonic seconds); wall-clock seconds since the Unix epoch are
// used only for placement timestamps and analytics.
class Clock {
  public:
    virtual ~Clock() = default;
    virtual double uptime() const = 0;
    virtual double wallClock() const = 0;
};

class SystemClock final : public Clock {
  public:
    double uptime() const override;
    double wallClock() const override;
    static SystemClock& shared();
};

}  // namespace mavo
