#pragma once

// FakeWindowServer: a table of windows, each its facts and how it answers size writes. Ids start at
// 1001; setFrame is the user's hand, not a write. One recursive mutex guards everything, so the
// engine may call in from its queue while the test thread scripts the windows.

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <variant>
#include <vector>

#include "geometry/Rect.h"
#include "windowaccess/AX.h"

namespace mavo::test {

struct ResizeOutcome {
    bool success = true;  // what the write call reports
    Rect frame;           // the window's frame afterwards
};

struct ResizeBehaviour {
    using Hook = std::function<ResizeOutcome(const Rect& current, Size requested)>;

    Hook decide = [](const Rect& cur, Size req) {
        return ResizeOutcome{true, makeRect(cur.origin(), req)};
    };
    bool sizeSettable = true;
    // Every write is accepted but undone: after this many reads of the facts have seen the
    // engine's frame, the window jumps back to where it was before the burst's first write.
    std::optional<int> fightBackAfterReads = std::nullopt;

    // A terminal: base plus a whole number of cells (at least one), rounded down, each way.
    static ResizeBehaviour cells(double cellW, double cellH, double baseW, double baseH) {
        auto fit = [](double req, double cell, double base) {
            return base + std::max(1.0, std::floor((req - base) / cell)) * cell;
        };
        return custom([=](const Rect& cur, Size req) {
            Size got{fit(req.width, cellW, baseW), fit(req.height, cellH, baseH)};
            return ResizeOutcome{true, makeRect(cur.origin(), got)};
        });
    }
    static ResizeBehaviour overshoot(double dw, double dh) {
        return custom([=](const Rect& cur, Size req) {
            return ResizeOutcome{true, makeRect(cur.origin(), {req.width + dw, req.height + dh})};
        });
    }
    static ResizeBehaviour fixedSize() { return {.sizeSettable = false}; }
    static ResizeBehaviour fightsBack(int readsBeforeRevert) {
        return {.fightBackAfterReads = readsBeforeRevert};
    }
    static ResizeBehaviour custom(Hook hook) { return {.decide = std::move(hook)}; }
};

class FakeWindowServer final : public WindowServer {
  public:
    // A standard, movable and resizable window, last in its application's list.
    WindowHandle addWindow(int32_t pid, const std::string& title, const Rect& frame) {
        Lock l(mu_);
        uint64_t id = nextId_++;
        windows_[id].facts = {.role = std::string(Attr::windowRole),
                              .subrole = std::string(Attr::standardWindow),
                              .title = title,
                              .positionSettable = true,
                              .sizeSettable = true,
                              .frame = frame,
                              .pid = pid};
        return WindowHandle{id, nullptr};
    }
    void removeWindow(const WindowHandle& h) {
        Lock l(mu_);
        windows_.erase(h.id);
    }
    void change(const WindowHandle& h, const std::function<void(WindowFacts&)>& edit) {
        Lock l(mu_);
        if (Window* w = find(h)) edit(w->facts);
    }
    void setResizeBehaviour(const WindowHandle& h, ResizeBehaviour behaviour) {
        Lock l(mu_);
        if (Window* w = find(h)) {
            w->facts.sizeSettable = behaviour.sizeSettable;
            w->resize = std::move(behaviour);
        }
    }
    // The user's hand: not a write, and it cancels a pending fight-back.
    void setFrame(const WindowHandle& h, const Rect& frame) {
        Lock l(mu_);
        if (Window* w = find(h)) w->facts.frame = frame, w->revertTo.reset();
    }
    std::optional<Rect> frameOf(const WindowHandle& h) const {
        Lock l(mu_);
        auto it = windows_.find(h.id);
        return it == windows_.end() ? std::nullopt : it->second.facts.frame;
    }

    // What the engine wrote to one window, in order: "(x,y) " for a position, "w×h " for a size.
    std::string writes(const WindowHandle& h) const {
        Lock l(mu_);
        std::ostringstream out;
        for (const auto& [id, value] : writes_) {
            if (id != h.id) continue;
            if (auto* p = std::get_if<Point>(&value)) out << "(" << p->x << "," << p->y << ") ";
            if (auto* s = std::get_if<Size>(&value)) out << s->width << "×" << s->height << " ";
        }
        return out.str();
    }
    // Of every window, or of one.
    size_t writeCount(std::optional<WindowHandle> h = std::nullopt) const {
        Lock l(mu_);
        return std::ranges::count_if(writes_, [&](auto& w) { return !h || w.first == h->id; });
    }
    void clearWrites() {
        Lock l(mu_);
        writes_.clear();
    }
    std::optional<float> messagingTimeout() const {
        Lock l(mu_);
        return timeout_;
    }

    std::optional<WindowFacts> facts(const WindowHandle& h) override {
        Lock l(mu_);
        Window* w = find(h);
        if (!w) return std::nullopt;
        if (w->revertTo && w->readsSinceWrite++ >= *w->resize.fightBackAfterReads)
            w->facts.frame = std::exchange(w->revertTo, std::nullopt);
        return w->facts;
    }
    std::optional<std::vector<WindowHandle>> applicationWindows(int32_t pid) override {
        Lock l(mu_);
        std::vector<WindowHandle> out;
        for (const auto& [id, w] : windows_)
            if (w.facts.pid == pid) out.push_back({id, nullptr});
        return out;
    }
    bool setPosition(const WindowHandle& h, Point value) override {
        Lock l(mu_);
        writes_.push_back({h.id, value});
        Window* w = find(h);
        if (!w || !w->facts.positionSettable || !w->facts.frame) return false;
        armFightBack(*w);
        w->facts.frame = makeRect(value, w->facts.frame->size());
        return true;
    }
    bool setSize(const WindowHandle& h, Size value) override {
        Lock l(mu_);
        writes_.push_back({h.id, value});
        Window* w = find(h);
        if (!w || !w->facts.sizeSettable || !w->facts.frame) return false;
        armFightBack(*w);
        ResizeOutcome out = w->resize.decide(*w->facts.frame, value);
        w->facts.frame = out.frame;
        return out.success;
    }
    void setGlobalMessagingTimeout(float seconds) override {
        Lock l(mu_);
        timeout_ = seconds;
    }

  private:
    using Lock = std::lock_guard<std::recursive_mutex>;
    struct Window {
        WindowFacts facts;
        ResizeBehaviour resize;
        std::optional<Rect> revertTo;  // armed fight-back: the frame before the engine's writes
        int readsSinceWrite = 0;
    };

    Window* find(const WindowHandle& h) {
        auto it = windows_.find(h.id);
        return it == windows_.end() ? nullptr : &it->second;
    }
    // The first write of a burst remembers where the window was; later ones restart the count.
    static void armFightBack(Window& w) {
        if (!w.resize.fightBackAfterReads) return;
        if (!w.revertTo) w.revertTo = w.facts.frame;
        w.readsSinceWrite = 0;
    }

    mutable std::recursive_mutex mu_;
    std::map<uint64_t, Window> windows_;  // ids grow, so this is the order they were added
    std::vector<std::pair<uint64_t, std::variant<Point, Size>>> writes_;
    std::optional<float> timeout_;
    uint64_t nextId_ = 1001;
};

}  // namespace mavo::test
