#pragma once

#include <string>

#include "ui/RemoteControl.h"

typedef struct _GDBusConnection GDBusConnection;

namespace mavo {

// The remote control on the session bus: object /com/quastorn/mavo, interface
// com.quastorn.mavo.Control (introspectable), changes announced with PropertiesChanged.
//
// One session bus may serve several X displays (a user logged in twice shares the user bus), and
// one Mavo runs per display. So each Mavo owns the name of its display (displayBusName), which the
// command line of that display calls, and queues for the well-known name com.quastorn.mavo, which
// the first Mavo on the bus holds and the next takes over when it quits.
class DbusControl {
  public:
    static constexpr const char* busName = "com.quastorn.mavo";
    static constexpr const char* objectPath = "/com/quastorn/mavo";
    static constexpr const char* interfaceName = "com.quastorn.mavo.Control";

    // "com.quastorn.mavo.Display_0" for ":0" or ":0.1"; the screen number does not count, and
    // characters a bus name cannot hold become "_".
    static std::string displayBusName(const std::string& display);

    DbusControl(RemoteControl& control, std::string display);
    ~DbusControl();
    DbusControl(const DbusControl&) = delete;
    DbusControl& operator=(const DbusControl&) = delete;

    // Serves the object and claims the names before returning, so a command run right after the
    // launch finds it. False, with a diagnostic line, without a session bus or when another
    // process holds this display's name.
    bool start();
    // Announces the properties that changed since the last announcement (also done every
    // second on the main loop, for the counts the engine changes on its own).
    void publishChanges();

  private:
    struct Glue;

    RemoteControl& control_;
    std::string display_;
    GDBusConnection* connection_ = nullptr;
    unsigned objectID_ = 0;
    unsigned sharedNameID_ = 0;
    unsigned timerID_ = 0;
    bool ownsDisplayName_ = false;
};

}  // namespace mavo
