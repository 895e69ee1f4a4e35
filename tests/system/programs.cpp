#include "programs.h"

#include <algorithm>

namespace zorvan::test {

std::wstring sourcePath(const std::wstring& relative) {
    std::wstring path = SOURCE_FOLDER + relative;
    std::replace(path.begin(), path.end(), L'/', L'\\');
    return path;
}

ProgramResult runScript(const std::wstring& name, const std::wstring& arguments) {
    return runProgram(L"cscript.exe \"" + sourcePath(L"tests/system/scripts/" + name) + L"\" " + arguments);
}

} // namespace zorvan::test
