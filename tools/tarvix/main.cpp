// tarvix: the Tarvix adapter from the shell, in the manner of i2c-tools, spidev_test and
// libgpiod's tools. Exit status: 0 done, 1 the adapter reported an error, 2 usage error,
// 3 no adapter (or it went away).
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include <glob.h>
#include <unistd.h>

#include "commands.hpp"

#if defined(__SANITIZE_ADDRESS__)
#define TARVIX_TOOL_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TARVIX_TOOL_ASAN 1
#endif
#endif

namespace tarvix_tool {
namespace {

constexpr const char* kVirtualLibrary = "libtarvix-virtual.so";
constexpr const char* kVirtualMarker = "TARVIX_TOOL_VIRTUAL";

std::string executableDirectory()
{
    char path[PATH_MAX];
    const ssize_t size = readlink("/proc/self/exe", path, sizeof path - 1);
    if (size <= 0) {
        return ".";
    }
    std::string text(path, static_cast<std::size_t>(size));
    const std::size_t slash = text.rfind('/');
    return slash == std::string::npos ? "." : text.substr(0, slash);
}

bool isFile(const std::string& path)
{
    return !path.empty() && access(path.c_str(), R_OK) == 0;
}

// Where the virtual adapter may be: named by the user, installed next to this tool, or in the
// build tree this tool was built in. Installed, the name may carry its version only (a runtime
// package ships libtarvix-virtual.so.1 without the development link), so any version will do.
std::string findVirtualLibrary(std::vector<std::string>& tried)
{
    if (const char* named = std::getenv("TARVIX_VIRTUAL_LIBRARY")) {
        tried.emplace_back(named);
        return isFile(named) ? named : std::string();
    }
    const std::string installed = executableDirectory() + "/../lib*/" + kVirtualLibrary + "*";
    const std::string multiarch = executableDirectory() + "/../lib/*/" + kVirtualLibrary + "*";
    for (const std::string& pattern : {installed, multiarch}) {
        tried.push_back(pattern);
        glob_t found{};
        if (glob(pattern.c_str(), 0, nullptr, &found) == 0 && found.gl_pathc > 0) {
            std::string first = found.gl_pathv[0];
            globfree(&found);
            return first;
        }
        globfree(&found);
    }
#ifdef TARVIX_VIRTUAL_BUILD_PATH
    tried.emplace_back(TARVIX_VIRTUAL_BUILD_PATH);
    if (isFile(TARVIX_VIRTUAL_BUILD_PATH)) {
        return TARVIX_VIRTUAL_BUILD_PATH;
    }
#endif
    return std::string();
}

// --virtual: the same command line again, with the virtual adapter in front of hidapi.
void runOnVirtualAdapter(char** argv)
{
    if (std::getenv(kVirtualMarker) != nullptr) {
        return; // this is the second run already
    }
    std::vector<std::string> tried;
    const std::string library = findVirtualLibrary(tried);
    if (library.empty()) {
        std::string places;
        for (const std::string& place : tried) {
            places += (places.empty() ? "" : ", ") + place;
        }
        throw ToolError(kExitNoAdapter, "NO_VIRTUAL_ADAPTER",
                        std::string("--virtual: ") + kVirtualLibrary + " not found (looked at " + places +
                            "); set TARVIX_VIRTUAL_LIBRARY to its path");
    }
    const char* preload = std::getenv("LD_PRELOAD");
    const std::string value = library + (preload && *preload ? std::string(":") + preload : std::string());
    setenv("LD_PRELOAD", value.c_str(), 1);
    setenv("TARVIX_VIRTUAL_ADAPTERS", "TVX-0001", 0);
    setenv(kVirtualMarker, "1", 1);
#ifdef TARVIX_TOOL_ASAN
    // A sanitizer build of this tool: the preloaded library now comes before the ASan runtime.
    const char* asan = std::getenv("ASAN_OPTIONS");
    const std::string asanOptions =
        std::string(asan && *asan ? std::string(asan) + ":" : "") + "verify_asan_link_order=0";
    setenv("ASAN_OPTIONS", asanOptions.c_str(), 1);
#endif
    std::fflush(nullptr);
    execv("/proc/self/exe", argv);
    throw ToolError(kExitNoAdapter, "NO_VIRTUAL_ADAPTER",
                    std::string("--virtual: cannot run again with the virtual adapter: ") + std::strerror(errno));
}

void printError(const Context& context, const ToolError& error)
{
    if (context.json()) {
        Json document;
        document["error"] = {{"name", error.name}, {"message", error.what()}, {"exitCode", error.exitCode}};
        if (!context.command.empty()) {
            document["error"]["command"] = context.command;
        }
        std::cout << document.dump(2, ' ', false, Json::error_handler_t::replace) << std::endl;
        return;
    }
    const std::string where = context.command.empty() ? std::string() : context.command + ": ";
    if (error.exitCode == kExitUsage) {
        std::fprintf(stderr, "tarvix: %s%s\nRun with --help for more information.\n", where.c_str(), error.what());
    } else {
        std::fprintf(stderr, "tarvix: %s%s (%s)\n", where.c_str(), error.what(), error.name.c_str());
    }
}

int run(int argc, char** argv)
{
    Context context;
    CLI::App app{"Talks to a Tarvix USB protocol adapter: I2C, SPI, UART, GPIO, supply rails and I3C.\n"
                 "Exit status: 0 done, 1 the adapter reported an error, 2 usage error, 3 no adapter\n"
                 "(or it went away).",
                 "tarvix"};
    app.set_version_flag("--version", "tarvix " + TarvixSDK::getVersion());
    app.fallthrough(); // global options may follow the sub-command
    app.require_subcommand(1);
    GlobalOptions& options = context.options;
    CLI::Option* serial = app.add_option("--serial", options.serial, "Use the adapter with this USB serial number");
    CLI::Option* path = app.add_option("--path", options.path, "Use the adapter at this HID path (see 'tarvix list')");
    CLI::Option* adapter = app.add_option("--adapter", options.adapter,
                                          "Use this adapter: serial:S, path:P or an index into 'tarvix list'");
    serial->excludes(path, adapter);
    path->excludes(adapter);
    app.add_option("--timeout", options.timeoutMs, "How long to wait for each answer, in ms (-1: for ever)")
        ->capture_default_str()
        ->check(CLI::Range(-1, 3600 * 1000));
    app.add_flag("--json", options.json, "Print exactly one JSON document on stdout, errors included");
    app.add_flag("--trace", options.trace, "Print every frame sent and received on stderr");
    app.add_flag(
        "--virtual", options.useVirtual,
        "Run against the virtual adapter (libtarvix-virtual.so; TARVIX_VIRTUAL_ADAPTERS defaults to TVX-0001)");

    addAdapterCommands(app, context);
    addI2cCommands(app, context);
    addSpiCommands(app, context);
    addUartCommands(app, context);
    addGpioCommands(app, context);
    addRailCommands(app, context);
    addI3cCommands(app, context);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        const int code = app.exit(error);
        if (code == 0) {
            return kExitOk; // --help, --version
        }
        for (int i = 1; i < argc; ++i) {
            if (std::strcmp(argv[i], "--json") == 0) {
                context.options.json = true;
                printError(context, ToolError(kExitUsage, "USAGE", error.what()));
                break;
            }
        }
        return kExitUsage;
    }

    try {
        if (options.useVirtual) {
            runOnVirtualAdapter(argv);
        }
        context.action();
        if (context.json()) {
            std::cout << context.result().dump(2, ' ', false, Json::error_handler_t::replace) << std::endl;
        }
        return kExitOk;
    } catch (const ToolError& error) {
        printError(context, error);
        return error.exitCode;
    } catch (const std::exception& error) {
        printError(context, ToolError(kExitDeviceError, "SYSTEM_ERROR", error.what()));
        return kExitDeviceError;
    }
}

} // namespace
} // namespace tarvix_tool

int main(int argc, char** argv)
{
    return tarvix_tool::run(argc, argv);
}
