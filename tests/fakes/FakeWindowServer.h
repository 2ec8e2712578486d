#pragma once

// FakeWindowServer: a scripted stand-in for the accessibility road to other applications' windows.
//
// Setting up
//   FakeWindowServer ws;
//   ws.addApp(42);                                   // application 42 with an empty window list
//   WindowHandle w = ws.addWindow(42, "Doc", {0, 25, 800, 600});
//       // a standard window: AXRole "AXWindow", AXSubrole "AXStandardWindow", AXMinimized false,
//       // AXFullScreen false, AXTitle, AXPosition (Point) and AXSize (Size); position and size
//       // settable. addWindow adds the application when it is not there yet. Ids are handed out
//       // from 1001 upwards unless one is given (`addWindow(pid, title, frame, id)`).
//   WindowHandle bare = ws.addBareWindow(42);        // a window with no attributes at all
//   ws.removeWindow(w);  ws.removeApp(42);           // gone: every read of it fails
//
// Attributes (any attribute, any kind of value)
//   ws.setAttribute(w, "AXSubrole", std::string("AXDialog"));
//   ws.setAttribute(w, "AXSize", std::string("oops"));  // the wrong type
//   ws.removeAttribute(w, "AXSize");                  // missing: reads fail
//   ws.setSettable(w, "AXPosition", false);           // only position and size start settable
//   ws.attribute(w, "AXTitle");                       // peek without counting a read
//
// The application's "AXWindows" read
//   ws.setWindowsReadFails(42, true);                 // the read fails (nothing) instead of []
//   ws.setWindowsRawValue(42, std::string("x"));      // answers a value of the wrong type
//   ws.clearWindowsRawValue(42);
//
// How a window answers a size write (see ResizeBehaviour below for each)
//   ws.setResizeBehaviour(w, ResizeBehaviour::cells(9, 18, 2, 24));
//   ::exact() (default), ::cells(cellW, cellH, baseW, baseH), ::overshoot(dw, dh),
//   ::refuse(reportsFailure = true), ::fixedSize(), ::maxSize(Size), ::fightsBack(k),
//   ::custom(hook)
//   ws.setRefusesMoves(w, true, reportsFailure = true);  // position writes keep the position
//
// The user's hand (not logged as writes; cancels a pending fight-back)
//   ws.setFrame(w, {0, 0, 500, 400});  ws.setPosition(w, {10, 10});  ws.setSize(w, {500, 400});
//   ws.frameOf(w);                                    // the stored frame, nothing if unreadable
//
// What the engine did
//   ws.writes();                        // every write in order: {window, attribute, value, ok}
//   ws.writesTo(w);  ws.positionWrites(w);  ws.sizeWrites(w);  ws.writeCount();
//   ws.clearWrites();
//   ws.readCount(w, "AXSize");  ws.clearReadCounts();
//   ws.messagingTimeout();              // last value given to setGlobalMessagingTimeout, if any
//
// Every member takes one recursive mutex, so the engine may call in from its queue while the test
// thread scripts the windows. A custom resize hook runs under that mutex: it may call back into
// this fake from the same thread, but must not wait on another thread that does.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "geometry/Rect.h"
#include "windowaccess/AX.h"
#include "windowaccess/WindowServer.h"

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
    // When set, every write is accepted but undone: after this many frame reads (reads of
    // "AXPosition") have seen the engine's frame, the window jumps back to the frame it had
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

    // Its size is not settable at all: "AXSize" is reported not settable and writes fail.
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
        std::string attribute;
        std::variant<Point, Size> value;
        bool succeeded = false;
    };

    // ---- scripting -------------------------------------------------------------------------

    void addApp(int32_t pid) {
        Lock l(mu_);
        apps_.try_emplace(pid);
    }

    void removeApp(int32_t pid) {
        Lock l(mu_);
        auto it = apps_.find(pid);
        if (it == apps_.end()) return;
        for (auto& w : it->second.windows) windows_.erase(w.id);
        apps_.erase(it);
    }

    // A standard, movable and resizable window, appended to the application's window list.
    WindowHandle addWindow(int32_t pid, const std::string& title, const Rect& frame,
                           uint64_t id = 0) {
        Lock l(mu_);
        WindowHandle h = addBareWindowLocked(pid, id);
        Window& w = windows_.at(h.id);
        w.attrs[std::string(Attr::role)] = std::string(Attr::windowRole);
        w.attrs[std::string(Attr::subrole)] = std::string(Attr::standardWindow);
        w.attrs[std::string(Attr::minimized)] = false;
        w.attrs[std::string(Attr::fullScreen)] = false;
        w.attrs[std::string(Attr::title)] = title;
        w.attrs[std::string(Attr::position)] = frame.origin();
        w.attrs[std::string(Attr::size)] = frame.size();
        return h;
    }

    // A window with no attributes; position and size are still flagged settable.
    WindowHandle addBareWindow(int32_t pid, uint64_t id = 0) {
        Lock l(mu_);
        return addBareWindowLocked(pid, id);
    }

    void removeWindow(const WindowHandle& h) {
        Lock l(mu_);
        auto it = windows_.find(h.id);
        if (it == windows_.end()) return;
        auto app = apps_.find(it->second.pid);
        if (app != apps_.end()) std::erase(app->second.windows, h);
        windows_.erase(it);
    }

    // The windows of an application in list order (empty for an unknown one).
    std::vector<WindowHandle> windowsOf(int32_t pid) const {
        Lock l(mu_);
        auto it = apps_.find(pid);
        return it == apps_.end() ? std::vector<WindowHandle>{} : it->second.windows;
    }

    void setAttribute(const WindowHandle& h, std::string_view attr, AttributeValue value) {
        Lock l(mu_);
        if (Window* w = find(h)) w->attrs[std::string(attr)] = std::move(value);
    }

    void removeAttribute(const WindowHandle& h, std::string_view attr) {
        Lock l(mu_);
        if (Window* w = find(h)) w->attrs.erase(std::string(attr));
    }

    std::optional<AttributeValue> attribute(const WindowHandle& h, std::string_view attr) const {
        Lock l(mu_);
        const Window* w = find(h);
        if (!w) return std::nullopt;
        auto it = w->attrs.find(attr);
        if (it == w->attrs.end()) return std::nullopt;
        return it->second;
    }

    void setSettable(const WindowHandle& h, std::string_view attr, bool settable) {
        Lock l(mu_);
        if (Window* w = find(h)) w->settable[std::string(attr)] = settable;
    }

    void setResizeBehaviour(const WindowHandle& h, ResizeBehaviour behaviour) {
        Lock l(mu_);
        Window* w = find(h);
        if (!w) return;
        w->settable[std::string(Attr::size)] = behaviour.sizeSettable;
        w->resize = std::move(behaviour);
        w->revertTo.reset();
    }

    void setRefusesMoves(const WindowHandle& h, bool refuses, bool reportsFailure = true) {
        Lock l(mu_);
        if (Window* w = find(h)) {
            w->refusesMoves = refuses;
            w->moveRefusalReportsFailure = reportsFailure;
        }
    }

    void setWindowsReadFails(int32_t pid, bool fails) {
        Lock l(mu_);
        apps_[pid].windowsReadFails = fails;
    }

    void setWindowsRawValue(int32_t pid, AttributeValue value) {
        Lock l(mu_);
        apps_[pid].rawWindows = std::move(value);
    }

    void clearWindowsRawValue(int32_t pid) {
        Lock l(mu_);
        apps_[pid].rawWindows.reset();
    }

    // ---- the user's hand ---------------------------------------------------------------------

    void setFrame(const WindowHandle& h, const Rect& frame) {
        Lock l(mu_);
        if (Window* w = find(h)) {
            w->attrs[std::string(Attr::position)] = frame.origin();
            w->attrs[std::string(Attr::size)] = frame.size();
            w->revertTo.reset();
        }
    }

    void setPosition(const WindowHandle& h, Point p) {
        Lock l(mu_);
        if (Window* w = find(h)) {
            w->attrs[std::string(Attr::position)] = p;
            w->revertTo.reset();
        }
    }

    void setSize(const WindowHandle& h, Size s) {
        Lock l(mu_);
        if (Window* w = find(h)) {
            w->attrs[std::string(Attr::size)] = s;
            w->revertTo.reset();
        }
    }

    // The stored frame (a pending fight-back not yet applied); nothing when either part is
    // missing or of the wrong type. Not counted as a read.
    std::optional<Rect> frameOf(const WindowHandle& h) const {
        Lock l(mu_);
        const Window* w = find(h);
        return w ? storedFrame(*w) : std::nullopt;
    }

    // ---- what happened -----------------------------------------------------------------------

    std::vector<Write> writes() const {
        Lock l(mu_);
        return writes_;
    }

    std::vector<Write> writesTo(const WindowHandle& h) const {
        Lock l(mu_);
        std::vector<Write> out;
        for (const auto& w : writes_)
            if (w.window == h) out.push_back(w);
        return out;
    }

    // Every position written to "AXPosition" of the window, accepted or not, in order.
    std::vector<Point> positionWrites(const WindowHandle& h) const {
        Lock l(mu_);
        std::vector<Point> out;
        for (const auto& w : writes_)
            if (w.window == h && w.attribute == Attr::position)
                if (auto* p = std::get_if<Point>(&w.value)) out.push_back(*p);
        return out;
    }

    // Every size written to "AXSize" of the window, accepted or not, in order.
    std::vector<Size> sizeWrites(const WindowHandle& h) const {
        Lock l(mu_);
        std::vector<Size> out;
        for (const auto& w : writes_)
            if (w.window == h && w.attribute == Attr::size)
                if (auto* s = std::get_if<Size>(&w.value)) out.push_back(*s);
        return out;
    }

    size_t writeCount() const {
        Lock l(mu_);
        return writes_.size();
    }

    void clearWrites() {
        Lock l(mu_);
        writes_.clear();
    }

    // How many times the window's attribute was read through copyAttribute.
    int readCount(const WindowHandle& h, std::string_view attr) const {
        Lock l(mu_);
        auto it = reads_.find({h.id, std::string(attr)});
        return it == reads_.end() ? 0 : it->second;
    }

    void clearReadCounts() {
        Lock l(mu_);
        reads_.clear();
    }

    std::optional<float> messagingTimeout() const {
        Lock l(mu_);
        return timeout_;
    }

    // ---- WindowServer ------------------------------------------------------------------------

    std::optional<AttributeValue> copyAttribute(const WindowHandle& h,
                                                std::string_view attr) override {
        Lock l(mu_);
        ++reads_[{h.id, std::string(attr)}];
        Window* w = find(h);
        if (!w) return std::nullopt;
        if (attr == Attr::position && w->revertTo) {
            if (w->readsSinceWrite >= w->resize.fightBackAfterReads.value_or(0)) {
                w->attrs[std::string(Attr::position)] = w->revertTo->origin();
                w->attrs[std::string(Attr::size)] = w->revertTo->size();
                w->revertTo.reset();
            } else {
                ++w->readsSinceWrite;
            }
        }
        auto it = w->attrs.find(attr);
        if (it == w->attrs.end()) return std::nullopt;
        return it->second;
    }

    bool setPoint(const WindowHandle& h, std::string_view attr, Point value) override {
        Lock l(mu_);
        bool ok = false;
        if (Window* w = find(h); w && isSettableLocked(*w, attr)) {
            if (attr == Attr::position) {
                armFightBack(*w);
                if (w->refusesMoves) {
                    ok = !w->moveRefusalReportsFailure;
                } else {
                    w->attrs[std::string(attr)] = value;
                    ok = true;
                }
            } else {
                w->attrs[std::string(attr)] = value;
                ok = true;
            }
        }
        writes_.push_back({h, std::string(attr), value, ok});
        return ok;
    }

    bool setSize(const WindowHandle& h, std::string_view attr, Size value) override {
        Lock l(mu_);
        bool ok = false;
        if (Window* w = find(h); w && isSettableLocked(*w, attr)) {
            if (attr == Attr::size) {
                armFightBack(*w);
                Rect current = storedFrame(*w).value_or(Rect{});
                ResizeOutcome out = w->resize.decide
                                        ? w->resize.decide(current, value)
                                        : ResizeOutcome{true, makeRect(current.origin(), value)};
                w->attrs[std::string(Attr::position)] = out.frame.origin();
                w->attrs[std::string(Attr::size)] = out.frame.size();
                ok = out.success;
            } else {
                w->attrs[std::string(attr)] = value;
                ok = true;
            }
        }
        writes_.push_back({h, std::string(attr), value, ok});
        return ok;
    }

    bool isSettable(const WindowHandle& h, std::string_view attr) override {
        Lock l(mu_);
        const Window* w = find(h);
        return w && isSettableLocked(*w, attr);
    }

    std::optional<AttributeValue> applicationWindows(int32_t pid) override {
        Lock l(mu_);
        auto it = apps_.find(pid);
        if (it == apps_.end() || it->second.windowsReadFails) return std::nullopt;
        if (it->second.rawWindows) return *it->second.rawWindows;
        return AttributeValue{it->second.windows};
    }

    std::optional<int32_t> pid(const WindowHandle& h) override {
        Lock l(mu_);
        const Window* w = find(h);
        if (!w) return std::nullopt;
        return w->pid;
    }

    void setGlobalMessagingTimeout(float seconds) override {
        Lock l(mu_);
        timeout_ = seconds;
    }

  private:
    using Lock = std::lock_guard<std::recursive_mutex>;

    struct Window {
        int32_t pid = 0;
        std::map<std::string, AttributeValue, std::less<>> attrs;
        std::map<std::string, bool, std::less<>> settable;
        ResizeBehaviour resize = ResizeBehaviour::exact();
        bool refusesMoves = false;
        bool moveRefusalReportsFailure = true;
        std::optional<Rect> revertTo;  // armed fight-back: the frame before the engine's writes
        int readsSinceWrite = 0;
    };

    struct App {
        std::vector<WindowHandle> windows;
        bool windowsReadFails = false;
        std::optional<AttributeValue> rawWindows;
    };

    WindowHandle addBareWindowLocked(int32_t pid, uint64_t id) {
        if (id == 0) {
            while (windows_.count(nextId_)) ++nextId_;
            id = nextId_++;
        }
        WindowHandle h{id, nullptr};
        Window w;
        w.pid = pid;
        w.settable[std::string(Attr::position)] = true;
        w.settable[std::string(Attr::size)] = true;
        windows_[id] = std::move(w);
        apps_[pid].windows.push_back(h);
        return h;
    }

    Window* find(const WindowHandle& h) {
        auto it = windows_.find(h.id);
        return it == windows_.end() ? nullptr : &it->second;
    }
    const Window* find(const WindowHandle& h) const {
        auto it = windows_.find(h.id);
        return it == windows_.end() ? nullptr : &it->second;
    }

    static bool isSettableLocked(const Window& w, std::string_view attr) {
        auto it = w.settable.find(attr);
        return it != w.settable.end() && it->second;
    }

    static std::optional<Rect> storedFrame(const Window& w) {
        auto p = w.attrs.find(Attr::position);
        auto s = w.attrs.find(Attr::size);
        if (p == w.attrs.end() || s == w.attrs.end()) return std::nullopt;
        auto* pt = std::get_if<Point>(&p->second);
        auto* sz = std::get_if<Size>(&s->second);
        if (!pt || !sz) return std::nullopt;
        return makeRect(*pt, *sz);
    }

    // The first write of a burst remembers where the window was; later ones restart the count.
    static void armFightBack(Window& w) {
        if (!w.resize.fightBackAfterReads) return;
        if (!w.revertTo) w.revertTo = storedFrame(w);
        w.readsSinceWrite = 0;
    }

    mutable std::recursive_mutex mu_;
    std::map<int32_t, App> apps_;
    std::map<uint64_t, Window> windows_;
    std::vector<Write> writes_;
    std::map<std::pair<uint64_t, std::string>, int, std::less<>> reads_;
    std::optional<float> timeout_;
    uint64_t nextId_ = 1001;
};

}  // namespace mavo::test
