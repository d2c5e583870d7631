#include "Views/ServicesTabView.hpp"

namespace velmora {

ServicesTabView::ServicesTabView(AppModel&, QWidget* parent) : QWidget(parent) {}

} // namespace velmora
