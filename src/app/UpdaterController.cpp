#include "app/UpdaterController.h"

namespace mavo {

UpdaterController::UpdaterController() = default;

}  // namespace mavo
