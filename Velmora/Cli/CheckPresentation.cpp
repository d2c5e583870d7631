#include "Cli/CheckPresentation.hpp"

#include "Check/CheckNotificationText.hpp"
#include "Findings/ByteFormat.hpp"
#include "Support/Text.hpp"

#include <ctime>
#include <ostream>

namespace velmora::cli {

namespace {

template <class... Cases> struct Overloaded : Cases... { using Cases::operator()...; };

} // namespace

std::string alertText(const CheckAlert& alert) {
    using ByteFormat::fileSize;
    return std::visit(Overloaded{
                          [](const CheckAlert::Growth& g) {
                              return g.title + " +" + fileSize(g.to - g.from) +
                                     " seit dem letzten Check (von " + fileSize(g.from) + " auf " +
                                     fileSize(g.to) + ")";
                          },
                          [](const CheckAlert::Cleanable& c) { return fileSize(c.total) + " aufräumbar"; },
                          [](const CheckAlert::LowSpace& l) {
                              return "Nur noch " + fileSize(l.free) + " von " + fileSize(l.total) + " frei";
                          },
                          [](const CheckAlert::OrphanedServices& o) {
                              std::string text = CheckNotificationText::orphanedText(o.labels.size());
                              for (std::size_t i = 0; i < o.labels.size(); ++i)
                                  text += (i == 0 ? ": " : ", ") + o.labels[i];
                              return text;
                          },
                      },
                      alert.value);
}

std::string snapshotSummary(const CheckSnapshot& snapshot) {
    const auto count = snapshot.sizes.size();
    std::string text = ByteFormat::fileSize(snapshot.cleanableTotal) + " aufräumbar · ";
    text += snapshot.totalBytes > 0 ? ByteFormat::fileSize(snapshot.freeBytes) + " frei von " +
                                          ByteFormat::fileSize(snapshot.totalBytes)
                                    : std::string("freier Platz unbekannt");
    return text + " · " + std::to_string(count) + (count == 1 ? " Fund" : " Funde");
}

std::string localDateTime(std::chrono::system_clock::time_point date) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(date);
    std::tm local{};
    if (::localtime_r(&seconds, &local) == nullptr)
        return "?";
    char buffer[32];
    const auto length = std::strftime(buffer, sizeof buffer, "%d.%m.%Y %H:%M", &local);
    return std::string(buffer, length);
}

void printAlerts(std::ostream& out, const CheckSnapshot& snapshot) {
    if (snapshot.alerts.empty())
        out << "  keine\n";
    for (const auto& alert : snapshot.alerts)
        out << "  • " << Text::printable(alertText(alert)) << "\n";
}

} // namespace velmora::cli
