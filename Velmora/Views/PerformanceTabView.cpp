#include "Views/PerformanceTabView.hpp"

namespace velmora {

PerformanceTabView::PerformanceTabView(AppModel&, QWidget* parent) : QWidget(parent) {}

} // namespace velmora
