#pragma once

namespace mavo {

// Software updates. On Linux the distribution's package manager updates Mavo, so the shell
// creates this last at launch and it does nothing; a platform with an in-app updater starts its
// background checks here.
class UpdaterController {
  public:
    UpdaterController();
    UpdaterController(const UpdaterController&) = delete;
    UpdaterController& operator=(const UpdaterController&) = delete;

    // Whether an in-app updater checks for new versions in the background.
    bool checksInBackground() const { return false; }
};

}  // namespace mavo
