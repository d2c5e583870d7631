// German text for byte counts: decimal units for disk sizes, binary units for memory.
#pragma once

#include <cstdint>
#include <string>

namespace velmora::ByteFormat {

std::string fileSize(std::int64_t bytes);
std::string memory(std::int64_t bytes);

} // namespace velmora::ByteFormat
