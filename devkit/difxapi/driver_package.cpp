#include "driver_package.h"

#include "base/unique.h"
#include "windows_error.h"

#include <setupapi.h>

namespace zorvan::devkit {

namespace {

using UniqueInf = Unique<SetupCloseInfFile, -1>;

// As long as a field of an INF may be.
constexpr DWORD kFieldSize = 512;

// Empty when the line has no such field. Field 0 is the key.
std::wstring field(INFCONTEXT& line, DWORD index) {
    wchar_t text[kFieldSize];
    return SetupGetStringFieldW(&line, index, text, kFieldSize, nullptr) ? text : L"";
}

std::vector<std::wstring> fieldsFrom(INFCONTEXT& line, DWORD first) {
    std::vector<std::wstring> fields;
    for (DWORD i = first; i <= SetupGetFieldCount(&line); ++i)
        fields.push_back(field(line, i));
    return fields;
}

// The lines of a section; of those with this key when there is one.
template <class Action>
void forEachLine(HINF inf, const std::wstring& section, const wchar_t* key, Action&& action) {
    INFCONTEXT line{};
    for (BOOL found = SetupFindFirstLineW(inf, section.c_str(), key, &line); found;
         found = SetupFindNextMatchLineW(&line, key, &line))
        action(line);
}

// [Manufacturer] names sections of models, one for each platform.
std::vector<std::wstring> modelSections(HINF inf) {
    std::vector<std::wstring> sections;
    forEachLine(inf, L"Manufacturer", nullptr, [&](INFCONTEXT& line) {
        const std::wstring models = field(line, 1);
        const std::vector<std::wstring> platforms = fieldsFrom(line, 2);
        if (platforms.empty())
            sections.push_back(models);
        for (const std::wstring& platform : platforms)
            sections.emplace_back(models).append(L".").append(platform);
    });
    return sections;
}

std::wstring forThisPlatform(HINF inf, const std::wstring& installSection) {
    wchar_t section[kFieldSize];
    if (!SetupDiGetActualSectionToInstallW(inf, installSection.c_str(), section, kFieldSize, nullptr, nullptr))
        throwLastError("SetupDiGetActualSectionToInstall");
    return section;
}

std::wstring targetFolder(HINF inf, const std::wstring& copySection) {
    wchar_t folder[MAX_PATH];
    if (!SetupGetTargetPathW(inf, nullptr, copySection.c_str(), folder, MAX_PATH, nullptr))
        throwLastError("SetupGetTargetPath");
    return std::wstring(folder) + L"\\";
}

void readCopySection(HINF inf, const std::wstring& section, DriverPackage& package) {
    // A single file instead of a section, which no package of ours uses.
    if (section.starts_with(L"@"))
        throwError(ERROR_NOT_SUPPORTED, "CopyFiles of a single file");
    const std::wstring folder = targetFolder(inf, section);
    forEachLine(
        inf, section, nullptr, [&](INFCONTEXT& line) { package.installedFiles.push_back(folder + field(line, 1)); });
}

void readInstallSection(HINF inf, const std::wstring& section, DriverPackage& package) {
    forEachLine(inf, section, L"CopyFiles", [&](INFCONTEXT& line) {
        for (const std::wstring& copySection : fieldsFrom(line, 1))
            readCopySection(inf, copySection, package);
    });
    forEachLine(inf, section + L".Services", L"AddService", [&](INFCONTEXT& line) {
        package.services.push_back(field(line, 1));
    });
}

UniqueInf open(const std::wstring& path) {
    UniqueInf inf(SetupOpenInfFileW(path.c_str(), nullptr, INF_STYLE_WIN4, nullptr));
    if (!inf)
        throwLastError("SetupOpenInfFile");
    return inf;
}

} // namespace

DriverPackage readDriverPackage(const std::wstring& infPath) {
    const std::size_t slash = infPath.find_last_of(L'\\');
    if (slash == std::wstring::npos)
        throwError(ERROR_INVALID_NAME, "the path of the INF");
    const UniqueInf inf = open(infPath);
    DriverPackage package{infPath.substr(0, slash + 1), infPath.substr(slash + 1), {}, {}, {}};
    forEachLine(
        inf.get(), L"SourceDisksFiles", nullptr, [&](INFCONTEXT& line) { package.files.push_back(field(line, 0)); });
    for (const std::wstring& models : modelSections(inf.get()))
        forEachLine(inf.get(), models, nullptr, [&](INFCONTEXT& line) {
            readInstallSection(inf.get(), forThisPlatform(inf.get(), field(line, 1)), package);
        });
    return package;
}

} // namespace zorvan::devkit
