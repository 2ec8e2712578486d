#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace mavo {

enum class ActivationPolicy { regular, accessory, prohibited };

struct RunningApplication {
    int32_t pid = 0;
    std::optional<std::string> bundleID;
    std::optional<std::string> localizedName;
    ActivationPolicy activationPolicy = ActivationPolicy::regular;
};

// Running applications and installed ones, as the platform's workspace knows them.
class Workspace {
  public:
    virtual ~Workspace() = default;
    virtual std::vector<RunningApplication> runningApplications() = 0;
    virtual std::optional<RunningApplication> frontmostApplication() = 0;
    // Whether an application with this bundle id is installed (the workspace can locate it).
    virtual bool isInstalled(const std::string& bundleID) = 0;
    // The display name of the installed application with this bundle id, if it can be located.
    virtual std::optional<std::string> installedAppName(const std::string& bundleID) = 0;
};

}  // namespace mavo
