// The application model's main thread in the window: work posted from any thread runs later in Qt's
// event loop, in the order posted.
#pragma once

#include "App/MainExecutor.hpp"

#include <QObject>
#include <QPointer>

namespace velmora {

class QtMainExecutor final : public MainExecutor {
public:
    // `context` lives on the GUI thread (the application object); work posted after it is gone is dropped.
    explicit QtMainExecutor(QObject* context);
    void post(std::function<void()> work) override;

private:
    QPointer<QObject> context_;
};

} // namespace velmora
