#pragma once

#include <memory>
#include <string>
#include <vector>

#include "engine/MaximizeEngine.h"

namespace mavo {

// The engine as the status menu and the remote control see it: the settings they toggle, the two
// counts and the two bulk actions. Kept narrow so both can be exercised against a recording fake.
class MenuEngine {
  public:
    virtual ~MenuEngine() = default;
    virtual bool paused() const = 0;
    virtual void setPaused(bool value) = 0;
    virtual void persistPaused() = 0;
    virtual bool excludesBundleID(const std::string& bid) const = 0;
    virtual std::vector<std::string> excludedBundleIDs() const = 0;
    virtual void toggleExclusion(const std::string& bid) = 0;
    virtual bool topCenterMode() const = 0;
    virtual void setTopCenterMode(bool value) = 0;
    virtual void persistTopCenterMode() = 0;
    virtual bool topCentersBundleID(const std::string& bid) const = 0;
    virtual void toggleTopCenter(const std::string& bid) = 0;
    virtual bool focusSizeBigDisplays() const = 0;
    virtual void setFocusSizeBigDisplays(bool value) = 0;
    virtual void persistFocusSizeBigDisplays() = 0;
    virtual bool maximizesBundleID(const std::string& bid) const = 0;
    virtual void toggleMaximizeApp(const std::string& bid) = 0;
    virtual int cannotFillCount() const = 0;
    virtual int windowsMaximizedCount() const = 0;
    virtual void reevaluateAll() = 0;
    virtual void maximizeAllNow() = 0;
};

// Forwards every call to the real engine.
class EngineMenuAdapter final : public MenuEngine {
  public:
    explicit EngineMenuAdapter(std::shared_ptr<MaximizeEngine> engine) : e_(std::move(engine)) {}

    bool paused() const override { return e_->paused(); }
    void setPaused(bool value) override { e_->setPaused(value); }
    void persistPaused() override { e_->persistPaused(); }
    bool excludesBundleID(const std::string& bid) const override {
        return e_->excludesBundleID(bid);
    }
    std::vector<std::string> excludedBundleIDs() const override { return e_->excludedBundleIDs(); }
    void toggleExclusion(const std::string& bid) override { e_->toggleExclusion(bid); }
    bool topCenterMode() const override { return e_->topCenterMode(); }
    void setTopCenterMode(bool value) override { e_->setTopCenterMode(value); }
    void persistTopCenterMode() override { e_->persistTopCenterMode(); }
    bool topCentersBundleID(const std::string& bid) const override {
        return e_->topCentersBundleID(bid);
    }
    void toggleTopCenter(const std::string& bid) override { e_->toggleTopCenter(bid); }
    bool focusSizeBigDisplays() const override { return e_->focusSizeBigDisplays(); }
    void setFocusSizeBigDisplays(bool value) override { e_->setFocusSizeBigDisplays(value); }
    void persistFocusSizeBigDisplays() override { e_->persistFocusSizeBigDisplays(); }
    bool maximizesBundleID(const std::string& bid) const override {
        return e_->maximizesBundleID(bid);
    }
    void toggleMaximizeApp(const std::string& bid) override { e_->toggleMaximizeApp(bid); }
    int cannotFillCount() const override { return e_->cannotFillCount(); }
    int windowsMaximizedCount() const override { return e_->windowsMaximizedCount(); }
    void reevaluateAll() override { e_->reevaluateAll(); }
    void maximizeAllNow() override { e_->maximizeAllNow(); }

  private:
    std::shared_ptr<MaximizeEngine> e_;
};

}  // namespace mavo
