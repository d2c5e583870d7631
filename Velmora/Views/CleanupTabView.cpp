#include "Views/CleanupTabView.hpp"

namespace velmora {

CleanupTabView::CleanupTabView(AppModel&, AppTab, QWidget* parent) : QWidget(parent) {}

} // namespace velmora
