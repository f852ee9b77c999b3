#include "Commands.hpp"
#include "Support.hpp"

#include "ostreljet/component/COstreljetModule.hpp"
#include "ostreljet/component/ModuleResources.hpp"

#include <fmt/core.h>

#include <filesystem>
#include <memory>
#include <string>

namespace ostreljet::cli {

namespace {

struct RegistrationOptions {
    std::string registry; // the registry file; empty for the default
};

// The registry file named on the command line (made absolute), else the default one.
std::filesystem::path registryFile(const RegistrationOptions &options) {
    if (!options.registry.empty()) {
        return std::filesystem::absolute(options.registry);
    }
    const std::filesystem::path file = platform::Registry::defaultPath();
    if (file.empty()) {
        throw CommandFailure(kUsageError,
                             platform::Registry::noDefaultPathReason() + ", or use --registry FILE");
    }
    return file;
}

void addRegistryOption(CLI::App *command, RegistrationOptions &options) {
    command
        ->add_option("--registry", options.registry,
                     std::string("the registry file (default: $") + platform::Registry::pathVariable +
                         ", else the per-user registry)")
        ->type_name("FILE");
}

[[noreturn]] void fail(const char *what, const std::filesystem::path &file, platform::HRESULT hr) {
    const std::string reason = COstreljetModule::instance().lastError();
    throw CommandFailure(kUsageError,
                         fmt::format("{} failed in {} (status 0x{:08X}){}{}", what, file.string(),
                                     static_cast<std::uint32_t>(hr), reason.empty() ? "" : ": ", reason));
}

} // namespace

void registerRegisterCommands(CLI::App &app) {
    auto registerOptions = std::make_shared<RegistrationOptions>();
    CLI::App *registerCommand = app.add_subcommand(
        "register", "Register the OstreljetModel component and its type library in the registry file.");
    addRegistryOption(registerCommand, *registerOptions);
    registerCommand->callback([registerOptions]() {
        const std::filesystem::path file = registryFile(*registerOptions);
        const platform::HRESULT hr = COstreljetModule::instance().registerServer(file);
        if (platform::FAILED(hr)) {
            fail("registration", file, hr);
        }
        fmt::print("Registered {} and {} in {}\n", ModuleResources::programmaticId,
                   ModuleResources::versionIndependentProgrammaticId, file.string());
        fmt::print("Server: {}\n", COstreljetModule::modulePath().string());
    });

    auto unregisterOptions = std::make_shared<RegistrationOptions>();
    CLI::App *unregisterCommand = app.add_subcommand(
        "unregister", "Remove the OstreljetModel component and its type library from the registry file.");
    addRegistryOption(unregisterCommand, *unregisterOptions);
    unregisterCommand->callback([unregisterOptions]() {
        const std::filesystem::path file = registryFile(*unregisterOptions);
        const platform::HRESULT hr = COstreljetModule::instance().unregisterServer(file);
        if (platform::FAILED(hr)) {
            fail("unregistration", file, hr);
        }
        fmt::print("Removed {} and {} from {}\n", ModuleResources::programmaticId,
                   ModuleResources::versionIndependentProgrammaticId, file.string());
    });
}

} // namespace ostreljet::cli
