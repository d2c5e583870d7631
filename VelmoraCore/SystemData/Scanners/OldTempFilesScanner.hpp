// The user's temporary files that nothing changed for three days. A top-level entry counts only when
// everything in it is that old and belongs to the user; on Linux the shared /tmp stands in when the
// context names no temporary folder of the user.
#pragma once

#include "Scanning/Scanner.hpp"
#include "Support/StopToken.hpp"

#include <sys/types.h>

namespace velmora {

class OldTempFilesScanner : public Scanner {
public:
    // `owner`: the user whose entries count (the one running the scan in live use).
    explicit OldTempFilesScanner(uid_t owner);

    std::string id() const override;
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;

private:
    uid_t owner_;
};

} // namespace velmora
