#include "platform/x11/X11WindowModel.h"

#include <xcb/randr.h>
#include <xcb/res.h>
#include <xcb/xcb_icccm.h>

#include <algorithm>
#include <set>

#include "platform/x11/X11Connection.h"

namespace mavo {

namespace {

bool contains(const std::vector<uint32_t>& values, uint32_t value) {
    return std::find(values.begin(), values.end(), value) != values.end();
}

template <typename T>
Reply<T> take(X11Connection& x11, T* reply, xcb_generic_error_t* error) {
    if (error) {
        x11.noteError(error);
        free(error);
    }
    return Reply<T>(reply);
}

// _NET_WM_NAME is UTF-8 by definition, though some tools write it typed STRING; WM_NAME is
// Latin-1, UTF-8 or compound text, as its type says.
std::optional<std::string> titleFrom(X11Connection& x11, const xcb_get_property_reply_t* netName,
                                     const xcb_get_property_reply_t* name) {
    xcb_atom_t utf8 = x11.ewmh()->UTF8_STRING;
    if (netName && (netName->type == utf8 || netName->type == XCB_ATOM_STRING))
        if (auto value = text(netName)) return value;
    if (!name) return std::nullopt;
    auto raw = text(name);
    if (!raw) return std::nullopt;
    if (name->type == utf8) return raw;
    if (name->type == XCB_ATOM_STRING) return latin1ToUtf8(*raw);
    // Compound text: keep its ASCII, which is what it shares with UTF-8.
    for (char& ch : *raw)
        if (static_cast<unsigned char>(ch) >= 0x80) ch = '?';
    return raw;
}

}  // namespace

struct X11WindowModel::Shared {
    struct Entry {
        uint64_t changes = 0;  // events seen that may have changed what was read
        uint64_t readAt = 0;   // `changes` when the kept state was asked for
        std::optional<X11WindowState> state;
        xcb_window_t toplevel = XCB_WINDOW_NONE;
    };

    xcb_window_t root;
    uint8_t randrFirstEvent;
    xcb_atom_t clientListAtom, wmStateAtom;
    std::set<xcb_atom_t> watchedAtoms;

    std::mutex lock;  // guards everything below
    std::function<void()> handler;
    uint64_t epoch = 1;  // counts every change of anything kept
    uint64_t applicationsAt = 0;
    std::optional<std::vector<X11Application>> applications;
    uint64_t listChanges = 1, listReadAt = 0;
    std::optional<std::vector<xcb_window_t>> list;
    std::vector<xcb_window_t> sortedList;  // the same, for membership asked on every facts read
    std::map<xcb_window_t, Entry> windows;
    std::map<xcb_window_t, xcb_window_t> clientOfToplevel;
    // The parent a window manager just reparented a client into, as the root was told: asked
    // about in the same burst as the client, which spares a new window a round trip.
    std::map<xcb_window_t, xcb_window_t> reparentedInto;
    std::optional<Point> origin;  // the primary monitor's corner, until the monitors change
    uint64_t monitorChanges = 0;

    void changed(xcb_window_t window) {
        auto found = windows.find(window);
        if (found == windows.end()) return;
        ++found->second.changes;
        ++epoch;
    }

    void handle(const xcb_generic_event_t& e) {
        uint8_t type = e.response_type & 0x7f;
        std::function<void()> notify;
        {
            std::lock_guard<std::mutex> guard(lock);
            switch (type) {
                case XCB_PROPERTY_NOTIFY: {
                    const auto& p = reinterpret_cast<const xcb_property_notify_event_t&>(e);
                    if (p.window == root && p.atom == clientListAtom) {
                        ++listChanges;
                        ++epoch;
                        notify = handler;
                    } else if (watchedAtoms.count(p.atom)) {
                        changed(p.window);
                        // Some window managers list a client before they have set it up.
                        if (p.atom == wmStateAtom) notify = handler;
                    }
                    break;
                }
                case XCB_CONFIGURE_NOTIFY: {
                    const auto& c = reinterpret_cast<const xcb_configure_notify_event_t&>(e);
                    changed(c.window);
                    // A frame moving carries its client along without telling the client.
                    auto client = clientOfToplevel.find(c.window);
                    if (client != clientOfToplevel.end()) changed(client->second);
                    break;
                }
                case XCB_REPARENT_NOTIFY: {
                    const auto& r = reinterpret_cast<const xcb_reparent_notify_event_t&>(e);
                    changed(r.window);
                    if (r.event == root && r.parent != root) reparentedInto[r.window] = r.parent;
                    if (r.parent == root) reparentedInto.erase(r.window);
                    break;
                }
                case XCB_DESTROY_NOTIFY: {
                    xcb_window_t w = reinterpret_cast<const xcb_destroy_notify_event_t&>(e).window;
                    reparentedInto.erase(w);
                    auto found = windows.find(w);
                    if (found != windows.end()) {
                        clientOfToplevel.erase(found->second.toplevel);
                        windows.erase(found);
                        ++epoch;
                    }
                    break;
                }
                default:
                    // The primary monitor's corner is every frame's origin.
                    if (randrFirstEvent &&
                        (type == randrFirstEvent + XCB_RANDR_SCREEN_CHANGE_NOTIFY ||
                         type == randrFirstEvent + XCB_RANDR_NOTIFY)) {
                        for (auto& [window, entry] : windows) ++entry.changes;
                        origin.reset();
                        ++monitorChanges;
                        ++epoch;
                    }
            }
        }
        if (notify) notify();
    }
};

X11WindowModel::X11WindowModel(X11Connection& x11)
    : x11_(x11), shared_(std::make_shared<Shared>()) {
    xcb_ewmh_connection_t* ewmh = x11.ewmh();
    shared_->root = x11.root();
    shared_->randrFirstEvent = x11.randrFirstEvent();
    shared_->clientListAtom = ewmh->_NET_CLIENT_LIST;
    shared_->wmStateAtom = x11.atoms().wmState;
    shared_->watchedAtoms = {x11.atoms().wmState,
                             ewmh->_NET_WM_WINDOW_TYPE,
                             XCB_ATOM_WM_TRANSIENT_FOR,
                             ewmh->_NET_WM_STATE,
                             ewmh->_NET_WM_ALLOWED_ACTIONS,
                             XCB_ATOM_WM_NORMAL_HINTS,
                             ewmh->_NET_WM_NAME,
                             XCB_ATOM_WM_NAME,
                             ewmh->_NET_WM_PID,
                             XCB_ATOM_WM_CLASS,
                             ewmh->_NET_FRAME_EXTENTS,
                             x11.atoms().gtkFrameExtents};
    x11.addEventThreadHook([shared = shared_](const xcb_generic_event_t& e) { shared->handle(e); });
    x11.selectEvents(x11.root(),
                     XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY);
    selectMonitorEvents(x11);
}

X11WindowModel::~X11WindowModel() = default;

void X11WindowModel::onChange(std::function<void()> handler) {
    std::lock_guard<std::mutex> guard(shared_->lock);
    shared_->handler = std::move(handler);
}

bool X11WindowModel::refreshList() {
    uint64_t changes;
    {
        std::lock_guard<std::mutex> guard(shared_->lock);
        if (shared_->list && shared_->listReadAt == shared_->listChanges) return true;
        changes = shared_->listChanges;
    }
    auto list = clientList(x11_);
    if (!list) return false;
    std::vector<xcb_window_t> sorted = *list;
    std::sort(sorted.begin(), sorted.end());
    // Counted before reading: a change during the read makes the next call read again.
    std::lock_guard<std::mutex> guard(shared_->lock);
    shared_->list = std::move(list);
    shared_->sortedList = std::move(sorted);
    shared_->listReadAt = changes;
    return true;
}

std::optional<std::vector<xcb_window_t>> X11WindowModel::listed() {
    if (!refreshList()) return std::nullopt;
    std::lock_guard<std::mutex> guard(shared_->lock);
    return shared_->list;
}

std::optional<X11WindowState> X11WindowModel::window(xcb_window_t window) {
    return read({window}).front();
}

bool X11WindowModel::isListed(xcb_window_t window) {
    if (!refreshList()) return false;
    std::lock_guard<std::mutex> guard(shared_->lock);
    return std::binary_search(shared_->sortedList.begin(), shared_->sortedList.end(), window);
}

std::optional<std::vector<X11Application>> X11WindowModel::applications() {
    uint64_t epoch;
    {
        // Every application's windows are asked for on each tick: one grouping serves them all
        // until something changes.
        std::lock_guard<std::mutex> guard(shared_->lock);
        if (shared_->applications && shared_->applicationsAt == shared_->epoch)
            return shared_->applications;
        epoch = shared_->epoch;
    }
    auto windows = listed();
    if (!windows) return std::nullopt;
    auto states = read(*windows);
    xcb_ewmh_connection_t* ewmh = x11_.ewmh();
    std::vector<X11Client> clients;
    for (size_t i = 0; i < windows->size(); ++i) {
        // A window that vanished meanwhile, or one without a process, belongs to no application.
        const auto& s = states[i];
        if (!s || s->pid == 0) continue;
        clients.push_back({(*windows)[i], s->pid, s->instance, s->cls,
                           !contains(s->types, ewmh->_NET_WM_WINDOW_TYPE_DOCK) &&
                               !contains(s->types, ewmh->_NET_WM_WINDOW_TYPE_DESKTOP) &&
                               !contains(s->netState, ewmh->_NET_WM_STATE_SKIP_TASKBAR)});
    }
    auto apps = groupApplications(clients);
    std::lock_guard<std::mutex> guard(shared_->lock);
    shared_->applications = apps;
    shared_->applicationsAt = epoch;
    return apps;
}

std::vector<std::optional<X11WindowState>> X11WindowModel::read(
    const std::vector<xcb_window_t>& windows) {
    std::vector<std::optional<X11WindowState>> states(windows.size());
    if (!x11_.isAlive()) return states;
    std::vector<size_t> stale;
    std::vector<uint64_t> changes;
    std::vector<xcb_window_t> frameHints;  // where each stale window's frame probably is
    std::optional<Point> knownOrigin;
    uint64_t monitorChanges;
    {
        std::lock_guard<std::mutex> guard(shared_->lock);
        for (size_t i = 0; i < windows.size(); ++i) {
            auto& entry = shared_->windows[windows[i]];
            if (entry.state && entry.readAt == entry.changes) {
                states[i] = entry.state;
            } else {
                stale.push_back(i);
                changes.push_back(entry.changes);
                auto into = shared_->reparentedInto.find(windows[i]);
                frameHints.push_back(into != shared_->reparentedInto.end() ? into->second
                                     : entry.toplevel != windows[i]
                                         ? entry.toplevel
                                         : xcb_window_t{XCB_WINDOW_NONE});
            }
        }
        knownOrigin = shared_->origin;
        monitorChanges = shared_->monitorChanges;
    }
    if (stale.empty()) return states;

    xcb_connection_t* c = x11_.xcb();
    xcb_ewmh_connection_t* ewmh = x11_.ewmh();
    // Selected before the reads, so that no change after them goes unseen.
    for (size_t i : stale) {
        x11_.selectEvents(windows[i],
                          XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY);
    }
    struct Cookies {
        xcb_get_geometry_cookie_t geometry;
        xcb_translate_coordinates_cookie_t position;
        xcb_query_tree_cookie_t tree;
        xcb_get_property_cookie_t wmState, types, transient, netState, actions, netName, name, pid,
            wmClass, decorations, shadows;
        xcb_get_property_cookie_t hints;
        xcb_res_query_client_ids_cookie_t owner;
        std::optional<xcb_query_tree_cookie_t> hintedFrame;
    };
    std::vector<Cookies> cookies;
    cookies.reserve(stale.size());
    std::optional<xcb_randr_get_monitors_cookie_t> monitors;
    if (!knownOrigin) monitors = requestMonitors(x11_);
    for (size_t n = 0; n < stale.size(); ++n) {
        xcb_window_t w = windows[stale[n]];
        Cookies k;
        if (frameHints[n] != XCB_WINDOW_NONE) k.hintedFrame = xcb_query_tree(c, frameHints[n]);
        k.geometry = xcb_get_geometry(c, w);
        k.position = xcb_translate_coordinates(c, w, x11_.root(), 0, 0);
        k.tree = xcb_query_tree(c, w);
        k.wmState = requestProperty(x11_, w, x11_.atoms().wmState, x11_.atoms().wmState, 2);
        k.types = requestProperty(x11_, w, ewmh->_NET_WM_WINDOW_TYPE, XCB_ATOM_ATOM);
        k.transient = requestProperty(x11_, w, XCB_ATOM_WM_TRANSIENT_FOR, XCB_ATOM_WINDOW, 1);
        k.netState = requestProperty(x11_, w, ewmh->_NET_WM_STATE, XCB_ATOM_ATOM);
        k.actions = requestProperty(x11_, w, ewmh->_NET_WM_ALLOWED_ACTIONS, XCB_ATOM_ATOM);
        k.netName = requestProperty(x11_, w, ewmh->_NET_WM_NAME, XCB_ATOM_ANY);
        k.name = requestProperty(x11_, w, XCB_ATOM_WM_NAME, XCB_ATOM_ANY);
        k.pid = requestProperty(x11_, w, ewmh->_NET_WM_PID, XCB_ATOM_CARDINAL, 1);
        k.wmClass = requestProperty(x11_, w, XCB_ATOM_WM_CLASS, XCB_ATOM_ANY, 256);
        k.decorations = requestProperty(x11_, w, ewmh->_NET_FRAME_EXTENTS, XCB_ATOM_CARDINAL, 4);
        k.shadows = requestProperty(x11_, w, x11_.atoms().gtkFrameExtents, XCB_ATOM_CARDINAL, 4);
        k.hints = xcb_icccm_get_wm_normal_hints(c, w);
        if (x11_.hasXRes()) {
            xcb_res_client_id_spec_t spec{w, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
            k.owner = xcb_res_query_client_ids(c, 1, &spec);
        }
        cookies.push_back(k);
    }
    Point origin = knownOrigin ? *knownOrigin : primaryOrigin(monitorsReply(x11_, *monitors));

    std::vector<xcb_window_t> parents(stale.size(), XCB_WINDOW_NONE);
    std::vector<xcb_window_t> toplevels(stale.size(), XCB_WINDOW_NONE);
    for (size_t n = 0; n < stale.size(); ++n) {
        Cookies& k = cookies[n];
        xcb_generic_error_t* e = nullptr;
        auto geo = take(x11_, xcb_get_geometry_reply(c, k.geometry, &e), e);
        e = nullptr;
        auto position = take(x11_, xcb_translate_coordinates_reply(c, k.position, &e), e);
        e = nullptr;
        auto tree = take(x11_, xcb_query_tree_reply(c, k.tree, &e), e);
        auto wmState = propertyReply(x11_, k.wmState);
        auto types = propertyReply(x11_, k.types);
        auto transient = propertyReply(x11_, k.transient);
        auto netState = propertyReply(x11_, k.netState);
        auto actions = propertyReply(x11_, k.actions);
        auto netName = propertyReply(x11_, k.netName);
        auto name = propertyReply(x11_, k.name);
        auto pid = propertyReply(x11_, k.pid);
        auto wmClass = propertyReply(x11_, k.wmClass);
        auto decorations = propertyReply(x11_, k.decorations);
        auto shadows = propertyReply(x11_, k.shadows);
        xcb_size_hints_t hints{};
        e = nullptr;
        bool haveHints = xcb_icccm_get_wm_normal_hints_reply(c, k.hints, &hints, &e) != 0;
        if (e) {
            x11_.noteError(e);
            free(e);
        }
        Reply<xcb_res_query_client_ids_reply_t> owner;
        if (x11_.hasXRes()) {
            e = nullptr;
            owner = take(x11_, xcb_res_query_client_ids_reply(c, k.owner, &e), e);
        }
        Reply<xcb_query_tree_reply_t> hintedFrame;
        if (k.hintedFrame) {
            e = nullptr;
            hintedFrame = take(x11_, xcb_query_tree_reply(c, *k.hintedFrame, &e), e);
        }
        if (!geo || !position || !tree || !wmState || !types || !transient || !netState ||
            !actions || !netName || !name || !pid || !wmClass || !decorations || !shadows) {
            continue;  // gone
        }
        X11WindowState s;
        auto stateValues = cardinals(wmState->get());
        s.wmState = stateValues.empty() ? 0 : stateValues[0];
        s.types = cardinals(types->get());
        auto owners = cardinals(transient->get());
        s.transientFor = owners.empty() ? xcb_window_t{XCB_WINDOW_NONE} : owners[0];
        s.netState = cardinals(netState->get());
        if (*actions) s.allowedActions = cardinals(actions->get());
        s.fixedSize = haveHints && (hints.flags & XCB_ICCCM_SIZE_HINT_P_MIN_SIZE) &&
                      (hints.flags & XCB_ICCCM_SIZE_HINT_P_MAX_SIZE) &&
                      hints.min_width == hints.max_width && hints.min_height == hints.max_height;
        s.title =
            titleFrom(x11_, *netName ? netName->get() : nullptr, *name ? name->get() : nullptr);
        auto pids = cardinals(pid->get());
        if (!pids.empty() && pids[0] > 0 && pids[0] <= INT32_MAX) {
            s.pid = static_cast<int32_t>(pids[0]);
        } else if (owner) {
            // Clients that do not publish their pid: the server knows which local process it is.
            s.pid = localClientPid(owner.get()).value_or(0);
        }
        // WM_CLASS holds the instance name, then the class name, each ended by a zero byte.
        if (auto raw = text(wmClass->get())) {
            s.instance = raw->substr(0, raw->find('\0'));
            if (s.instance.size() < raw->size()) {
                s.cls = raw->substr(s.instance.size() + 1);
                s.cls = s.cls.substr(0, s.cls.find('\0'));
            }
        }
        s.geometry.client = {double(position->dst_x), double(position->dst_y), double(geo->width),
                             double(geo->height)};
        s.geometry.border = geo->border_width;
        s.geometry.decorations = extents(decorations->get());
        s.geometry.shadows = extents(shadows->get());
        s.drawsShadows = *shadows && (*shadows)->type != XCB_ATOM_NONE;
        s.geometry.origin = origin;
        states[stale[n]] = std::move(s);
        parents[n] = tree->parent;
        toplevels[n] = tree->parent == x11_.root() ? windows[stale[n]] : tree->parent;
        // The frame guessed right: no walk up from it.
        if (hintedFrame && tree->parent == frameHints[n] && hintedFrame->parent == x11_.root())
            parents[n] = x11_.root();
    }

    // The frame a window manager put around each client: the ancestor that is a child of the
    // root, whose moves the client is not told of.
    for (int depth = 0; depth < 8; ++depth) {
        std::vector<std::pair<size_t, xcb_query_tree_cookie_t>> asked;
        for (size_t n = 0; n < stale.size(); ++n) {
            if (parents[n] != XCB_WINDOW_NONE && parents[n] != x11_.root())
                asked.emplace_back(n, xcb_query_tree(c, parents[n]));
        }
        if (asked.empty()) break;
        for (auto& [n, cookie] : asked) {
            xcb_generic_error_t* e = nullptr;
            auto tree = take(x11_, xcb_query_tree_reply(c, cookie, &e), e);
            xcb_window_t parent = tree ? tree->parent : xcb_window_t{XCB_WINDOW_NONE};
            if (parent == x11_.root()) toplevels[n] = parents[n];
            parents[n] = parent;
        }
    }

    std::lock_guard<std::mutex> guard(shared_->lock);
    if (!knownOrigin && shared_->monitorChanges == monitorChanges) shared_->origin = origin;
    for (size_t n = 0; n < stale.size(); ++n) {
        xcb_window_t w = windows[stale[n]];
        auto found = shared_->windows.find(w);
        if (!states[stale[n]]) {
            if (found != shared_->windows.end()) {
                shared_->clientOfToplevel.erase(found->second.toplevel);
                shared_->windows.erase(found);
            }
            continue;
        }
        if (found == shared_->windows.end()) continue;  // destroyed while it was read
        Shared::Entry& entry = found->second;
        shared_->reparentedInto.erase(w);  // from now on the frame read is the better guess
        // Counted before reading: a change during the read makes the next call read again.
        entry.state = states[stale[n]];
        entry.readAt = changes[n];
        if (entry.toplevel != toplevels[n]) {
            shared_->clientOfToplevel.erase(entry.toplevel);
            entry.toplevel = toplevels[n];
            if (toplevels[n] != XCB_WINDOW_NONE) shared_->clientOfToplevel[toplevels[n]] = w;
        }
    }
    return states;
}

}  // namespace mavo
