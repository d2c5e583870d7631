#include "Views/RemovalSheet.hpp"

namespace velmora {

RemovalSheet::RemovalSheet(AppModel&, QWidget* parent) : QDialog(parent) {}

} // namespace velmora
