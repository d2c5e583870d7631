#include "Check/LastCheckSummary.hpp"

#include "Check/CheckNotificationText.hpp"
#include "Findings/ByteFormat.hpp"
#include "Support/RelativeTime.hpp"

namespace velmora {

std::string lastCheckSummary(const CheckSnapshot& newest, std::chrono::system_clock::time_point now) {
    std::string text = "Letzter Check " + germanTimeAgo(now - newest.date) + ": ";
    if (const auto notification = CheckNotificationText::make(newest)) {
        const auto& body = notification->body;
        return text + body.substr(0, body.find('\n'));
    }
    return text + ByteFormat::fileSize(newest.cleanableTotal) + " aufräumbar";
}

} // namespace velmora
