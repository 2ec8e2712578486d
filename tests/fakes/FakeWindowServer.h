#pragma once

// FakeWindowServer: a table of windows, each its facts and how it misbehaves.
//
//   FakeWindowServer ws;
//   WindowHandle w = ws.addWindow(42, "Doc", {0, 25, 800, 600});   // a standard window of pid 42,
//       // movable and resizable; ids from 1001 up unless given (`addWindow(pid, title, frame,
//       id)`)
//   ws.change(w, [](WindowFacts& f) { f.subrole = "AXDialog"; });   // any fact; frame = nothing
//   ws.removeWindow(w);  ws.removeApp(42);  ws.setWindowsReadFails(42, true);
//   ws.setResizeBehaviour(w, ResizeBehaviour::cells(9, 18, 2, 24));  // see ResizeBehaviour
//   ws.setFrame(w, r);                                 // the user's hand: not a write
//   ws.frameOf(w);  ws.sizeWrites(w);  ws.positionWrites(w);  ws.writesTo(w);  ws.writeCount();
//
// One recursive mutex guards everything, so the engine may call in from its queue while the test
// thread scripts the windows; a custom resize hook runs under it.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "geometry/Rect.h"
#include "windowaccess/AX.h"

namespace mavo::test {

// What a window does with one size write.
struct ResizeOutcome {
    bool success = true;  // what the write call reports
    Rect frame;           // the window's frame afterwards
};

// Decides how a window answers size writes. Build one with the factories.
struct ResizeBehaviour {
    using Hook = std::function<ResizeOutcome(const Rect& current, Size requested)>;

    Hook decide;
    bool sizeSettable = true;
    // When set, every write is accepted but undone: after this many reads of the window's facts
    // have seen the engine's frame, the window jumps back to the frame it had
    // before the first write of the burst. 0 means the very next read already sees the old frame.
    std::optional<int> fightBackAfterReads;

    // Takes exactly the size asked for.
    static ResizeBehaviour exact() {
        return {[](const Rect& cur, Size req) {
                    return ResizeOutcome{true, makeRect(cur.origin(), req)};
                },
                true, std::nullopt};
    }

    // A terminal: width = baseW + a whole number of cellW columns, rounded down (never below
    // base + one cell); the same for the height.
    static ResizeBehaviour cells(double cellW, double cellH, double baseW = 0, double baseH = 0) {
        auto fit = [](double req, double cell, double base) {
            double n = std::floor((req - base) / cell);
            return base + std::max(1.0, n) * cell;
        };
        return {[=](const Rect& cur, Size req) {
                    Size got{fit(req.width, cellW, baseW), fit(req.height, cellH, baseH)};
                    return ResizeOutcome{true, makeRect(cur.origin(), got)};
                },
                true, std::nullopt};
    }

    // Ends up dw wider and dh taller than asked, on every write.
    static ResizeBehaviour overshoot(double dw, double dh) {
        return {[=](const Rect& cur, Size req) {
                    Size got{req.width + dw, req.height + dh};
                    return ResizeOutcome{true, makeRect(cur.origin(), got)};
                },
                true, std::nullopt};
    }

    // Keeps its size. With reportsFailure the write call fails; without, it claims success.
    static ResizeBehaviour refuse(bool reportsFailure = true) {
        return {[=](const Rect& cur, Size) {
                    return ResizeOutcome{!reportsFailure, cur};
                },
                true, std::nullopt};
    }

    // Its size is not settable at all, and size writes fail.
    static ResizeBehaviour fixedSize() {
        auto b = refuse(true);
        b.sizeSettable = false;
        return b;
    }

    // Grows no larger than `limit` in either dimension (any smaller size is taken exactly).
    static ResizeBehaviour maxSize(Size limit) {
        return {[=](const Rect& cur, Size req) {
                    Size got{std::min(req.width, limit.width), std::min(req.height, limit.height)};
                    return ResizeOutcome{true, makeRect(cur.origin(), got)};
                },
                true, std::nullopt};
    }

    // Accepts every write, then undoes the engine (see fightBackAfterReads).
    static ResizeBehaviour fightsBack(int readsBeforeRevert = 0) {
        auto b = exact();
        b.fightBackAfterReads = readsBeforeRevert;
        return b;
    }

    // Anything else: the hook gets the current frame and the requested size and answers the
    // new frame (it may move the window too) and whether the write call succeeds.
    static ResizeBehaviour custom(Hook hook) { return {std::move(hook), true, std::nullopt}; }
};

class FakeWindowServer final : public WindowServer {
  public:
    struct Write {
        WindowHandle window;
        std::variant<Point, Size> value;
    };

    void removeApp(int32_t pid) {
        Lock l(mu_);
        for (auto& w : windowsOfLocked(pid)) windows_.erase(w.id);
        order_.erase(std::remove_if(order_.begin(), order_.end(),
                                    [&](uint64_t id) { return !windows_.count(id); }),
                     order_.end());
    }

    // A standard, movable and resizable window, last in its application's list.
    WindowHandle addWindow(int32_t pid, const std::string& title, const Rect& frame,
                           uint64_t id = 0) {
        Lock l(mu_);
        if (id == 0) {
            while (windows_.count(nextId_)) ++nextId_;
            id = nextId_++;
        }
        Window& w = windows_[id];
        w.facts = {std::string(Attr::windowRole),
                   std::string(Attr::standardWindow),
                   title,
                   false,
                   false,
                   true,
                   true,
                   frame,
                   pid};
        order_.push_back(id);
        return WindowHandle{id, nullptr};
    }

    void removeWindow(const WindowHandle& h) {
        Lock l(mu_);
        windows_.erase(h.id);
        std::erase(order_, h.id);
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
            w->revertTo.reset();
        }
    }

    void setWindowsReadFails(int32_t pid, bool fails) {
        Lock l(mu_);
        if (fails)
            failingLists_.insert(pid);
        else
            failingLists_.erase(pid);
    }

    // ---- the user's hand: not writes, and it cancels a pending fight-back ----------------------

    void setFrame(const WindowHandle& h, const Rect& frame) {
        Lock l(mu_);
        if (Window* w = find(h)) {
            w->facts.frame = frame;
            w->revertTo.reset();
        }
    }

    // The stored frame (a pending fight-back not yet applied); not counted as a read.
    std::optional<Rect> frameOf(const WindowHandle& h) const {
        Lock l(mu_);
        auto it = windows_.find(h.id);
        return it == windows_.end() ? std::nullopt : it->second.facts.frame;
    }

    // ---- what the engine did -------------------------------------------------------------------

    std::vector<Write> writesTo(const WindowHandle& h) const {
        Lock l(mu_);
        std::vector<Write> out;
        for (const auto& w : writes_)
            if (w.window == h) out.push_back(w);
        return out;
    }
    template <typename T>
    std::vector<T> writesOf(const WindowHandle& h) const {
        std::vector<T> out;
        for (const auto& w : writesTo(h))
            if (auto* v = std::get_if<T>(&w.value)) out.push_back(*v);
        return out;
    }
    std::vector<Point> positionWrites(const WindowHandle& h) const { return writesOf<Point>(h); }
    std::vector<Size> sizeWrites(const WindowHandle& h) const { return writesOf<Size>(h); }
    size_t writeCount() const {
        Lock l(mu_);
        return writes_.size();
    }
    void clearWrites() {
        Lock l(mu_);
        writes_.clear();
    }
    std::optional<float> messagingTimeout() const {
        Lock l(mu_);
        return timeout_;
    }

    // ---- WindowServer
    // ----------------------------------------------------------------------------

    std::optional<WindowFacts> facts(const WindowHandle& h) override {
        Lock l(mu_);
        Window* w = find(h);
        if (!w) return std::nullopt;
        if (w->revertTo) {
            if (w->readsSinceWrite >= w->resize.fightBackAfterReads.value_or(0)) {
                w->facts.frame = w->revertTo;
                w->revertTo.reset();
            } else {
                ++w->readsSinceWrite;
            }
        }
        return w->facts;
    }

    std::optional<std::vector<WindowHandle>> applicationWindows(int32_t pid) override {
        Lock l(mu_);
        if (failingLists_.count(pid)) return std::nullopt;
        return windowsOfLocked(pid);
    }

    bool setPosition(const WindowHandle& h, Point value) override {
        Lock l(mu_);
        Window* w = find(h);
        bool ok = w && w->facts.positionSettable && w->facts.frame;
        if (ok) {
            armFightBack(*w);
            w->facts.frame = makeRect(value, w->facts.frame->size());
        }
        writes_.push_back({h, value});
        return ok;
    }

    bool setSize(const WindowHandle& h, Size value) override {
        Lock l(mu_);
        Window* w = find(h);
        bool ok = w && w->facts.sizeSettable && w->facts.frame;
        if (ok) {
            armFightBack(*w);
            ResizeOutcome out = w->resize.decide(*w->facts.frame, value);
            w->facts.frame = out.frame;
            ok = out.success;
        }
        writes_.push_back({h, value});
        return ok;
    }

    void setGlobalMessagingTimeout(float seconds) override {
        Lock l(mu_);
        timeout_ = seconds;
    }

  private:
    using Lock = std::lock_guard<std::recursive_mutex>;

    struct Window {
        WindowFacts facts;
        ResizeBehaviour resize = ResizeBehaviour::exact();
        std::optional<Rect> revertTo;  // armed fight-back: the frame before the engine's writes
        int readsSinceWrite = 0;
    };

    std::vector<WindowHandle> windowsOfLocked(int32_t pid) const {
        std::vector<WindowHandle> out;
        for (uint64_t id : order_)
            if (windows_.at(id).facts.pid == pid) out.push_back({id, nullptr});
        return out;
    }
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
    std::map<uint64_t, Window> windows_;
    std::vector<uint64_t> order_;  // windows in the order they were added
    std::set<int32_t> failingLists_;
    std::vector<Write> writes_;
    std::optional<float> timeout_;
    uint64_t nextId_ = 1001;
};

}  // namespace mavo::test
