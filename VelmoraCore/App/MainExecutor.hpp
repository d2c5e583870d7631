// The one thread the application model lives on. Work finished elsewhere hops back through it: the
// window posts to the toolkit's event loop, tests to a queue they run when they say so.
#pragma once

#include <functional>

namespace velmora {

class MainExecutor {
public:
    virtual ~MainExecutor() = default;

    // Runs `work` later on the main thread, in the order posted. Safe to call from any thread.
    virtual void post(std::function<void()> work) = 0;
};

} // namespace velmora
