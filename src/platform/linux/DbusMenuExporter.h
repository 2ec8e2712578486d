#pragma once

#include <functional>
#include <map>
#include <string>

#include "ui/MenuModel.h"

typedef struct _DbusmenuServer DbusmenuServer;
typedef struct _DbusmenuMenuitem DbusmenuMenuitem;

namespace mavo {

// Serves a MenuModel over the dbusmenu protocol. The tree is rebuilt from `rebuild` each time
// the host announces it is about to show the menu, so what the user sees is the state of that
// moment. Check marks are check boxes, the delay control is a submenu of whole seconds 0 to 10.
class DbusMenuExporter {
  public:
    struct Handlers {
        std::function<const MenuModel&()> rebuild;     // builds and returns the fresh model
        std::function<void(const MenuItem&)> perform;  // the user chose this row
        std::function<void()> opened;                  // the menu appeared
        std::function<void()> closed;                  // the menu went away
    };

    DbusMenuExporter(std::string objectPath, Handlers handlers);
    ~DbusMenuExporter();
    DbusMenuExporter(const DbusMenuExporter&) = delete;
    DbusMenuExporter& operator=(const DbusMenuExporter&) = delete;

    const std::string& objectPath() const { return objectPath_; }
    // Builds a fresh model and publishes it.
    void rebuild();
    // Publishes `model` as it is, on the next turn of the loop (callers may be inside a click).
    void republish(const MenuModel& model);
    // What is published now, in the model's terms.
    const MenuModel& published() const { return published_; }

    // A dbusmenu label for a title: underscores would be taken for mnemonics.
    static std::string label(const std::string& title);
    static std::string delayTitle(const MenuItem& delay);

  private:
    struct Glue;
    void publish(const MenuModel& model);
    void fill(DbusmenuMenuitem* parent, const std::vector<MenuItem>& items);
    DbusmenuMenuitem* makeItem(const MenuItem& item);
    void activated(DbusmenuMenuitem* item);

    std::string objectPath_;
    Handlers handlers_;
    DbusmenuServer* server_ = nullptr;
    DbusmenuMenuitem* root_ = nullptr;
    MenuModel published_;
    MenuModel pending_;
    unsigned idleID_ = 0;
    // Item id -> what choosing it does.
    std::map<int, MenuItem> actions_;
};

}  // namespace mavo
