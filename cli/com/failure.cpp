#include "com/failure.h"

#include "base/unique.h"
#include "com/text.h"
#include "output/console.h"

#include <fmt/core.h>

#include <algorithm>
#include <cctype>
#include <iterator>

namespace portwright {
namespace {

struct Meaning {
    DWORD result;
    const char* words; // null: the system's own
    const char* next;
};

constexpr char kListPorts[] = "portwright list shows the ports that there are";

constexpr Meaning kMeanings[] = {
    {0x800702BA, "the number belongs to a serial port that is present",
     "take another number, or none for any free one; portwright doctor shows which numbers are taken"},
    {0x80070BC2, "the system asks for a restart, or the port did not start within a minute",
     "see what portwright doctor says; restart the computer if it finds nothing"},
    {0x80070006, "the port has been deleted, or is not in the mode that this needs", kListPorts},
    {0x80070002, nullptr, kListPorts},
    {0x80070005, nullptr, "run this as an administrator, or end the program that is using it"},
    {0x80040154, "the library is not registered",
     "register it: regsvr32 zorvanlib.dll, or for yourself alone: regsvr32 /n /i:user zorvanlib.dll"},
    {0x80070032, "the driver does not support this", "the development driver joins ports of one computer alone"},
    {0x8007052E, "the user name or the password is wrong", "check --user, --domain and the password"},
    {0x800700E7, "all instances of the pipe are in use", "end the program that uses the pipe, or take another name"},
    {0x8007007B, "this is no name that the system takes", nullptr},
    {0x800704CE, "the other port is connected already", "portwright disconnect it first"},
    {0x80004005, "the system gave no reason", "see what portwright doctor says"},
};

const Meaning* meaningOf(HRESULT result) {
    const auto* const found = std::find_if(std::begin(kMeanings), std::end(kMeanings), [&](const Meaning& meaning) {
        return meaning.result == static_cast<DWORD>(result);
    });
    return found != std::end(kMeanings) ? found : nullptr;
}

// As the end of a sentence of this program's.
std::string asClause(std::string words) {
    while (!words.empty() && (std::isspace(static_cast<unsigned char>(words.back())) != 0 || words.back() == '.'))
        words.pop_back();
    const bool isWord = words.size() > 1 && std::islower(static_cast<unsigned char>(words[1])) != 0;
    if (isWord)
        words[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(words[0])));
    return words;
}

std::string systemWords(HRESULT result) {
    zorvan::UniqueLocalMemory buffer;
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
        static_cast<DWORD>(result), 0, reinterpret_cast<wchar_t*>(buffer.put()), 0, nullptr);
    if (length == 0)
        return "the system has no words for this";
    return asClause(utf8(std::wstring_view(static_cast<const wchar_t*>(buffer.get()), length)));
}

std::string usualAdvice(HRESULT result) {
    const auto* const meaning = meaningOf(result);
    return meaning != nullptr && meaning->next != nullptr ? meaning->next : "";
}

void tellLines(std::string_view what, const std::string& next) {
    console::complain(fmt::format("{} {}\n", console::emphasised(console::Stream::Error, "portwright:"), what));
    if (!next.empty())
        console::complain(fmt::format("  next: {}\n", next));
}

} // namespace

std::string inWords(HRESULT result) {
    const auto* const meaning = meaningOf(result);
    const bool hasWords = meaning != nullptr && meaning->words != nullptr;
    return fmt::format(
        "{} (0x{:08X})", hasWords ? meaning->words : systemWords(result), static_cast<unsigned long>(result));
}

Failure::Failure(std::string_view asked, HRESULT result, std::string_view hint)
    : std::runtime_error(fmt::format("cannot {}: {}", asked, inWords(result))),
      next_(hint.empty() ? usualAdvice(result) : hint) {}

Failure::Failure(std::string_view message, std::string_view hint)
    : std::runtime_error(std::string(message)), next_(hint) {}

void check(HRESULT result, std::string_view asked, std::string_view hint) {
    if (FAILED(result))
        throw Failure(asked, result, hint);
}

void throwError(DWORD error, std::string_view asked, std::string_view hint) {
    throw Failure(asked, HRESULT_FROM_WIN32(error), hint);
}

void throwLastError(std::string_view asked, std::string_view hint) {
    throwError(GetLastError(), asked, hint);
}

Status tell(const std::exception& error) {
    if (dynamic_cast<const AlreadyTold*>(&error) != nullptr)
        return kRefused;
    if (const auto* const failure = dynamic_cast<const Failure*>(&error)) {
        tellLines(failure->what(), failure->next());
        return kRefused;
    }
    const auto* const wrongUse = dynamic_cast<const WrongUse*>(&error);
    tellLines(error.what(), wrongUse != nullptr ? wrongUse->next() : "");
    return wrongUse != nullptr ? kWrongUse : kRefused;
}

} // namespace portwright
