#include "Views/QtMainExecutor.hpp"

#include <QMetaObject>

namespace velmora {

QtMainExecutor::QtMainExecutor(QObject* context) : context_(context) {}

void QtMainExecutor::post(std::function<void()> work) {
    // A queued call runs on the context's thread, after what was queued before it.
    QMetaObject::invokeMethod(context_.data(), std::move(work), Qt::QueuedConnection);
}

} // namespace velmora
