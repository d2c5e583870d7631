#include "SystemData/VolumeInventoryError.hpp"

namespace velmora {

std::string volumeNoticeText(VolumeInventoryError error) {
    return "Die Volumes konnten nicht gelesen werden (" + std::string(text(error)) +
           "). Der nicht zugeordnete Anteil bleibt unbekannt.";
}

} // namespace velmora
