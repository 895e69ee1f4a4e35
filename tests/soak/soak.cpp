// Works on ports for a long time, and fails when anything goes wrong or when client, driver or host processes hold
// more and more.
//
//   soak.exe --minutes MINUTES [--csv FILE] [--not-alone]
//   soak.exe --rounds ROUNDS [--csv FILE] [--not-alone]
//
// Not alone: other processes work on ports meanwhile, and their events do not count.
//
// Ends with 0 when all went as it should. Too few rounds to judge growth by are a failure of a run that was given
// minutes, as nobody knew how many rounds they would be.
#include "report.h"
#include "round.h"
#include "sample.h"

#include "base/hresult_error.h"

#include <chrono>
#include <cwchar>
#include <optional>
#include <stdexcept>
#include <string_view>

namespace zorvan::devkit {

namespace {

constexpr double kSecondsBetweenLines = 10;

struct Length {
    double seconds = 0;  // 0: until the rounds are done
    unsigned rounds = 0; // 0: until the time is over

    // 1 and more: the run is over.
    double progress(double secondsNow, unsigned roundsNow) const {
        return rounds != 0 ? static_cast<double>(roundsNow) / rounds : secondsNow / seconds;
    }
};

struct Options {
    Length length;
    const wchar_t* csv = nullptr;
    bool alone = true;
};

class Stopwatch {
public:
    double seconds() const { return std::chrono::duration<double>(Clock::now() - begun_).count(); }

private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point begun_ = Clock::now();
};

void soakFor(const Options& options, Verdict& verdict, std::optional<RoundFile>& file) {
    Rounds rounds(createLibrary(), options.alone);
    const Sampler sampler(rounds.residentPort());
    const Stopwatch watch;
    printHeading();
    double printed = -kSecondsBetweenLines;
    for (double progress = 0; progress < 1;) {
        rounds.run();
        const auto sample = sampler.take();
        const double now = watch.seconds();
        verdict.add(progress, rounds.work(), sample);
        progress = options.length.progress(now, rounds.work().rounds);
        if (file)
            file->add(now, rounds.work(), sample);
        if (now - printed >= kSecondsBetweenLines || progress >= 1) {
            printLine(now, rounds.work(), sample);
            printed = now;
        }
    }
}

void soak(const Options& options) {
    std::optional<RoundFile> file;
    if (options.csv != nullptr)
        file.emplace(options.csv);
    Verdict verdict;
    soakFor(options, verdict, file);
    if (verdict.possible())
        expect(verdict.print(), "that nothing grows");
    else if (options.length.rounds == 0)
        expect(false, "rounds enough to judge growth by; run it for more minutes");
    else
        std::puts("Growth was not judged: too few rounds.");
}

// Takes an option with its value.
bool take(Options& options, std::wstring_view name, const wchar_t* value) {
    if (name == L"--minutes")
        options.length.seconds = 60 * std::wcstod(value, nullptr);
    else if (name == L"--rounds")
        options.length.rounds = std::wcstoul(value, nullptr, 10);
    else if (name == L"--csv")
        options.csv = value;
    else
        return false;
    return true;
}

std::optional<Options> parse(int count, wchar_t** arguments) {
    Options options;
    for (int i = 1; i < count; ++i) {
        if (arguments[i] == std::wstring_view(L"--not-alone"))
            options.alone = false;
        else if (i + 1 == count || !take(options, arguments[i], arguments[i + 1]))
            return std::nullopt;
        else
            ++i;
    }
    const bool oneLength = (options.length.seconds > 0) != (options.length.rounds != 0);
    return oneLength ? std::optional(options) : std::nullopt;
}

int failed(const char* what) {
    std::printf("FAILED: %s\n", what);
    return 1;
}

int run(const Options& options) {
    try {
        const ComApartment apartment;
        soak(options);
        std::puts("All as expected.");
        return 0;
    } catch (const HResultError& error) {
        return failed(("error " + std::to_string(error.code())).c_str());
    } catch (const std::exception& error) {
        return failed(error.what());
    }
}

} // namespace

} // namespace zorvan::devkit

int wmain(int argumentCount, wchar_t** arguments) {
    const auto options = zorvan::devkit::parse(argumentCount, arguments);
    if (options)
        return zorvan::devkit::run(*options);
    std::fputs("usage: soak --minutes MINUTES | --rounds ROUNDS [--csv FILE] [--not-alone]\n", stderr);
    return 2;
}
