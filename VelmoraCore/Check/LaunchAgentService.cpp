#include "Check/LaunchAgentService.hpp"

#include "Platform/CommandFailureText.hpp"
#include "Support/AtomicFile.hpp"
#include "Support/PropertyList.hpp"
#include "Support/StopToken.hpp"

namespace velmora {

namespace fs = std::filesystem;

std::string LaunchAgentService::label(std::string_view plistName) {
    constexpr std::string_view extension = ".plist";
    if (plistName.ends_with(extension))
        plistName.remove_suffix(extension.size());
    return std::string(plistName);
}

std::string LaunchAgentService::propertyList(CheckSchedule schedule, const fs::path& executable) {
    const PlistPtr root(plist_new_dict());
    plist_dict_set_item(root.get(), "Label", plist_new_string(label(*agentPlistName(schedule)).c_str()));
    plist_t arguments = plist_new_array();
    plist_array_append_item(arguments, plist_new_string(executable.c_str()));
    plist_array_append_item(arguments, plist_new_string("--check"));
    plist_dict_set_item(root.get(), "ProgramArguments", arguments);
    plist_t interval = plist_new_dict();
    if (schedule == CheckSchedule::monthly)
        plist_dict_set_item(interval, "Day", plist_new_uint(1));
    else
        plist_dict_set_item(interval, "Weekday", plist_new_uint(0)); // Sunday
    plist_dict_set_item(interval, "Hour", plist_new_uint(10));
    plist_dict_set_item(interval, "Minute", plist_new_uint(0));
    plist_dict_set_item(root.get(), "StartCalendarInterval", interval);
    // A check is no hurry: launchd may hold it back while the user works.
    plist_dict_set_item(root.get(), "ProcessType", plist_new_string("Background"));

    char* xml = nullptr;
    uint32_t length = 0;
    plist_to_xml(root.get(), &xml, &length);
    std::string text(xml ? xml : "", xml ? length : 0);
    plist_to_xml_free(xml);
    return text;
}

fs::path LaunchAgentService::plistFile(std::string_view plistName) const {
    return setup_.launchAgentsFolder / plistName;
}

std::string LaunchAgentService::domain() const {
    return "gui/" + std::to_string(setup_.uid);
}

std::string LaunchAgentService::serviceTarget(std::string_view plistName) const {
    return domain() + "/" + label(plistName);
}

AgentStatus LaunchAgentService::status(std::string_view plistName) {
    if (!scheduleForAgent(plistName))
        return AgentStatus::notFound;
    const auto printed = setup_.runner->run(setup_.launchctl, {"print", serviceTarget(plistName)}, timeout);
    if (printed && printed->exitCode == 0)
        return AgentStatus::enabled;
    const bool present = agentFilePresent(plistFile(plistName));
    if (!printed)
        return present ? AgentStatus::notFound : AgentStatus::notRegistered;
    return present ? AgentStatus::requiresApproval : AgentStatus::notRegistered;
}

std::expected<void, AgentServiceError> LaunchAgentService::registerAgent(std::string_view plistName) {
    const auto schedule = scheduleForAgent(plistName);
    if (!schedule)
        return AgentServiceError::failure(AgentServiceError::Kind::unknownAgent, std::string(plistName));
    if (!setup_.executable || !setup_.executable->is_absolute())
        return AgentServiceError::failure(AgentServiceError::Kind::noExecutable,
                                          "Pfad des Programms unbekannt");
    const auto file = plistFile(plistName);
    if (auto written = writeFileAtomically(file, propertyList(*schedule, *setup_.executable)); !written)
        return AgentServiceError::failure(AgentServiceError::Kind::writeFile,
                                          file.string() + ": " + written.error().code.message());

    // Only a copy that is still loaded answers; for any other the non-zero exit means nothing.
    (void)setup_.runner->run(setup_.launchctl, {"bootout", serviceTarget(plistName)}, timeout);
    const auto booted = setup_.runner->run(setup_.launchctl, {"bootstrap", domain(), file.string()}, timeout);
    if (booted && booted->exitCode == 0)
        return {};
    std::error_code ignored;
    fs::remove(file, ignored);
    return AgentServiceError::failure(AgentServiceError::Kind::command,
                                      commandFailureText(setup_.launchctl, booted));
}

std::expected<void, AgentServiceError> LaunchAgentService::unregisterAgent(std::string_view plistName,
                                                                           StopToken stop) {
    if (!scheduleForAgent(plistName))
        return AgentServiceError::failure(AgentServiceError::Kind::unknownAgent, std::string(plistName));
    const auto file = plistFile(plistName);
    const bool present = agentFilePresent(file);
    const auto bootout =
        setup_.runner->run(setup_.launchctl, {"bootout", serviceTarget(plistName)}, timeout, std::move(stop));
    std::error_code ec;
    fs::remove(file, ec);
    if (ec)
        return AgentServiceError::failure(AgentServiceError::Kind::removeFile,
                                          file.string() + ": " + ec.message());
    if (!bootout && present)
        return AgentServiceError::failure(AgentServiceError::Kind::command,
                                          commandFailureText(setup_.launchctl, bootout));
    return {};
}

} // namespace velmora
