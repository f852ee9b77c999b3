#include "ostreljet/jet/RunStatus.hpp"

#include <array>
#include <utility>

namespace ostreljet {

namespace {

constexpr std::array<std::pair<RunStatus, std::string_view>, 6> names = {{
    {RunStatus::ok, "ok"},
    {RunStatus::warning, "warning"},
    {RunStatus::incomplete, "incomplete"},
    {RunStatus::failed, "failed"},
    {RunStatus::refused, "refused"},
    {RunStatus::invalid, "invalid"},
}};

} // namespace

std::string_view runStatusName(RunStatus status) {
    for (const auto &[value, name] : names) {
        if (value == status) {
            return name;
        }
    }
    return "invalid";
}

std::optional<RunStatus> runStatusNamed(std::string_view name) {
    for (const auto &[value, text] : names) {
        if (text == name) {
            return value;
        }
    }
    return std::nullopt;
}

bool runStatusHasResults(RunStatus status) {
    return status == RunStatus::ok || status == RunStatus::warning || status == RunStatus::incomplete;
}

int runStatusExitCode(RunStatus status) {
    return status == RunStatus::ok || status == RunStatus::warning ? 0 : 1;
}

} // namespace ostreljet
