#include "App/EmptyTrashText.hpp"

namespace velmora {

std::string emptyTrashErrorText(const EmptyTrashError& error) {
    switch (error.kind) {
    case EmptyTrashError::Kind::automationDenied:
        return std::string(emptyTrashAutomationDenied);
    case EmptyTrashError::Kind::failed:
        if (error.message.empty())
            break;
        return std::string(emptyTrashFailurePrefix) + error.message;
    }
    return std::string(emptyTrashUnknownFailure);
}

} // namespace velmora
