#pragma once

#include <xcb/xcb.h>

#include <atomic>
#include <memory>

#include "common/SerialQueue.h"
#include "engine/MaximizeEngine.h"
#include "platform/x11/X11Connection.h"

namespace mavo {

// A sync barrier for end-to-end tests, switched on by MAVO_TEST_HOOKS=1. A test writes a
// counter (CARDINAL; a second value of 1 asks for a forced tick) to the root property
// _MAVO_SYNC_REQUEST. Mavo sees the change on its event stream, so every input event the server
// sent before it has already been handled; it then runs one engine tick, waits for the
// diagnostic log to reach the disk, and answers by writing [counter, unexpected X errors so far,
// windows the engine tracks] to _MAVO_SYNC_DONE. The test never has to wait out the tick timer.
// Once the launch is complete, _MAVO_READY on the root holds Mavo's process id.
class TestHooks final : private X11EventListener {
  public:
    TestHooks(X11Connection& x11, std::shared_ptr<MaximizeEngine> engine);
    ~TestHooks() override;
    TestHooks(const TestHooks&) = delete;
    TestHooks& operator=(const TestHooks&) = delete;

    // Tells the test that the launch is complete and requests are being answered.
    void announceReady();

  private:
    void handleEvent(const xcb_generic_event_t& event) override;
    void answer(uint32_t counter, bool force);

    X11Connection& x11_;
    std::weak_ptr<MaximizeEngine> engine_;
    xcb_atom_t request_ = XCB_ATOM_NONE;
    xcb_atom_t done_ = XCB_ATOM_NONE;
    xcb_atom_t ready_ = XCB_ATOM_NONE;
    // Ticks wait on the engine queue; the main loop must not.
    std::unique_ptr<SerialQueue> worker_;
};

}  // namespace mavo
