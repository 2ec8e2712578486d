#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "geometry/Rect.h"

namespace mavo {

// How the icon should look. The platform maps the state to its artwork: the elephant for
// "active", the elephant dimmed for "paused", a warning sign for "warn".
struct StatusIcon {
    std::string state;        // "active", "paused" or "warn"
    std::string description;  // spoken by screen readers
    bool dimmed = false;
};

// The platform's status-bar item. Every call comes on the main thread.
class StatusItem {
  public:
    virtual ~StatusItem() = default;
    // False while the item has nothing to draw into (no button); icon updates are skipped then.
    virtual bool hasButton() const { return true; }
    // False while no tray shows the item (the desktop has none, or it has not taken the item yet).
    virtual bool hasHost() const { return true; }
    virtual bool isVisible() const = 0;
    virtual void setVisible(bool visible) = 0;
    virtual void setIcon(const StatusIcon& icon) = 0;
    virtual void setToolTip(const std::string& text) = 0;
    // The menu model changed outside a rebuild (the delay value moved); redraw what is shown.
    virtual void invalidateMenu() = 0;
};

// A registration of a pointer-moved handler; destroying it removes the handler.
class PointerMonitor {
  public:
    virtual ~PointerMonitor() = default;
};

// The pointer, in global screen coordinates with the origin at the bottom-left of the primary
// screen and y up (the convention of DisplaySource's frames).
class PointerSource {
  public:
    virtual ~PointerSource() = default;
    virtual std::optional<Point> pointerLocation() = 0;
    // Calls `handler` on the main thread whenever the pointer moves, over any application.
    virtual std::unique_ptr<PointerMonitor> addMovedMonitor(std::function<void()> handler) = 0;
};

// Launch at login as the menu needs it.
class LoginControl {
  public:
    virtual ~LoginControl() = default;
    virtual bool isEnabled() = 0;
    virtual void toggle() = 0;
};

// Adapts any pair of callables, so the shell can hand over its login item without the menu
// depending on it.
class FunctionLoginControl final : public LoginControl {
  public:
    FunctionLoginControl(std::function<bool()> isEnabled, std::function<void()> toggle)
        : isEnabled_(std::move(isEnabled)), toggle_(std::move(toggle)) {}
    bool isEnabled() override { return isEnabled_ ? isEnabled_() : false; }
    void toggle() override {
        if (toggle_) toggle_();
    }

  private:
    std::function<bool()> isEnabled_;
    std::function<void()> toggle_;
};

}  // namespace mavo
