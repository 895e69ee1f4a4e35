// doctor: is everything there that ports need, and what has been left behind.
#include "com/failure.h"
#include "com/library.h"
#include "com/registration.h"
#include "com/text.h"
#include "commands/command.h"
#include "doctor/leftovers.h"
#include "doctor/port_lists.h"
#include "output/console.h"

#include <fmt/core.h>

#include <set>

namespace portwright {
namespace {

struct DoctorOptions {
    bool releaseStale = false;
};

class Findings {
public:
    void ok(std::string_view subject, std::string_view text) const { print("ok", subject, text); }
    void problem(std::string_view subject, std::string_view text, std::string_view next) {
        print(console::emphasised(console::Stream::Output, "PROBLEM"), subject, text);
        console::print(fmt::format("{:18}next: {}\n", "", next));
        any_ = true;
    }
    // Runs an examination; what keeps it from coming to a finding is one.
    void examine(std::string_view subject, const std::function<void()>& examination) {
        try {
            examination();
        } catch (const Failure& failure) {
            problem(subject, failure.what(), failure.next());
        }
    }
    bool any() const { return any_; }

private:
    static void print(std::string_view judgement, std::string_view subject, std::string_view text) {
        console::print(fmt::format("{:<8} {:<8} {}\n", judgement, subject, text));
    }

    bool any_ = false;
};

struct Lists {
    std::set<std::string> serialComm = doctor::serialCommNames();
    std::set<std::string> portsClass = doctor::portsClassNames();
    std::set<std::string> interfaceClass = doctor::interfaceClassNames();
};

std::string missingFrom(const Lists& lists, const std::string& name) {
    std::vector<std::string> missing;
    if (!lists.serialComm.contains(name))
        missing.emplace_back("SERIALCOMM");
    if (!lists.portsClass.contains(name))
        missing.emplace_back("the Ports class");
    if (!lists.interfaceClass.contains(name))
        missing.emplace_back("the interface class");
    return joined(missing, ", ");
}

// A port that is switched off is not there for other programs.
void examinePort(Findings& findings, const Lists& lists, const Port& port) {
    const auto state = port.state();
    if (state.mode == VSDM_Broken) {
        findings.problem(port.name(), "the driver cannot serve it", "delete it and create it again");
        return;
    }
    if (!state.enabled) {
        findings.ok(port.name(), "is switched off, so programs neither find it nor open it");
        return;
    }
    const auto missing = missingFrom(lists, port.name());
    const DWORD error = doctor::tryToOpen(port.name());
    const bool inUse = error == ERROR_ACCESS_DENIED;
    if (!missing.empty())
        findings.problem(
            port.name(), "programs do not find it in " + missing,
            fmt::format("portwright set {0} --enabled off, then on; or delete it and create it again", port.name()));
    if (error != ERROR_SUCCESS && !inUse)
        findings.problem(
            port.name(), "cannot be opened: " + inWords(HRESULT_FROM_WIN32(error)), "delete it and create it again");
    else if (missing.empty())
        findings.ok(
            port.name(), inUse ? "is found in all three ways; a program has it open"
                               : "is found in all three ways, and can be opened");
}

void examineLibrary(Findings& findings) {
    const auto path = registeredLibrary();
    if (!path)
        throw Failure("use the library zorvanlib", REGDB_E_CLASSNOTREG);
    const Library library;
    findings.ok("library", *path);
}

void examineDriver(Findings& findings) {
    if (doctor::hasDriverPackage())
        findings.ok("driver", "the driver package is installed");
    else
        findings.problem("driver", "the driver package is not installed", "portwright install");
}

void examinePorts(Findings& findings) {
    const Library library;
    const Lists lists;
    for (const auto& port : library.ports())
        findings.examine(port.name(), [&] { examinePort(findings, lists, port); });
}

// The device nodes that no library object lists.
std::vector<doctor::Node> staleNodes() {
    std::set<std::string> names;
    for (const auto& port : Library().ports())
        names.insert(port.name());
    std::vector<doctor::Node> stale;
    for (auto& node : doctor::findNodes())
        if (!node.hasDriver || !names.contains(node.portName))
            stale.push_back(std::move(node));
    return stale;
}

constexpr char kRelease[] = "portwright doctor --release-stale, unless a program is just creating a port";

void examineNodes(Findings& findings, bool release) {
    for (const auto& node : staleNodes()) {
        const auto text = fmt::format("device node {} without a working port", node.instanceId);
        const auto name = node.portName.empty() ? "(none)" : node.portName;
        if (!release) {
            findings.problem(name, text, kRelease);
            continue;
        }
        findings.examine(name, [&] {
            doctor::removeNode(node);
            findings.ok(name, "removed: " + text);
        });
    }
}

void examineNumbers(Findings& findings, bool release) {
    for (const DWORD number : doctor::findNumbers()) {
        const auto name = fmt::format("COM{}", number);
        if (!release) {
            findings.problem(name, "the number is taken in the COM port database, by no device", kRelease);
            continue;
        }
        findings.examine(name, [&] {
            doctor::releaseNumber(number);
            findings.ok(name, "released: the number was taken by no device");
        });
    }
}

void examine(const DoctorOptions& options) {
    Findings findings;
    findings.examine("library", [&] { examineLibrary(findings); });
    const bool library = !findings.any();
    findings.examine("driver", [&] { examineDriver(findings); });
    if (library) {
        findings.examine("ports", [&] { examinePorts(findings); });
        findings.examine("devices", [&] { examineNodes(findings, options.releaseStale); });
    }
    if (options.releaseStale)
        doctor::endPortsWithoutNode();
    findings.examine("numbers", [&] { examineNumbers(findings, options.releaseStale); });
    if (findings.any())
        throw AlreadyTold();
}

} // namespace

void addDoctorCommand(CLI::App& app) {
    auto [line, options] = addCommand<DoctorOptions>(
        app, "doctor", "Examine the library, the driver, the ports and what others have left behind",
        "  portwright doctor\n"
        "  portwright doctor --release-stale\n\n"
        "Each port is looked for in SERIALCOMM, the Ports class and the interface class of serial ports, and opened\n"
        "for a moment. Ends with 1 when there is a problem.",
        examine);
    line.flag(
        "--release-stale", options.releaseStale,
        "Remove device nodes without a working port, and free COM numbers that belong to no device");
}

} // namespace portwright
