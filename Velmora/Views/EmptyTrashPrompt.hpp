// The one question before the Trash is emptied for good, asked from the storage tab and from the result
// of a removal alike.
#pragma once

#include "App/AppModel.hpp"

class QWidget;

namespace velmora {

// Asks; on "Papierkorb leeren" the model empties the Trash. True when the person confirmed.
bool askToEmptyTrash(AppModel& model, QWidget* parent);

} // namespace velmora
