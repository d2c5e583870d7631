// Pictures, videos and files received in Messages. Only Messages itself can let them go without
// breaking its conversations, so this is a hint with the size and the setting that limits it.
#pragma once

#include "Scanning/Scanner.hpp"

namespace velmora {

class MessageAttachmentsScanner : public Scanner {
public:
    std::string id() const override { return "personal.messageAttachments"; }
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;
};

} // namespace velmora
