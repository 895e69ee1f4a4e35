#include "reference_facts.h"

#include "programs.h"

#include "base/com_pointer.h"
#include "base/hresult_error.h"
#include "typelib/type_library_dump.h"

#include <oleauto.h>

#include <map>
#include <regex>
#include <sstream>
#include <utility>
#include <vector>

namespace zorvan::test {

namespace {

// A row of a table of the reference: the heading that it stands under, and its cells.
struct Row {
    std::string heading;
    std::vector<std::string> cells;
};

std::string trimmed(const std::string& text) {
    const auto first = text.find_first_not_of(" `");
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" `") - first + 1);
}

std::vector<std::string> split(const std::string& text, const std::string& separator) {
    std::vector<std::string> parts;
    std::size_t begin = 0;
    for (auto end = text.find(separator); end != std::string::npos; end = text.find(separator, begin)) {
        parts.push_back(text.substr(begin, end - begin));
        begin = end + separator.size();
    }
    parts.push_back(text.substr(begin));
    return parts;
}

// The rows whose first cell is code.
std::vector<Row> rowsOfReference() {
    std::istringstream reference(readFile(sourcePath(L"docs/reference.md")));
    std::vector<Row> rows;
    std::string heading;
    for (std::string line; std::getline(reference, line);) {
        if (line.rfind("## ", 0) == 0)
            heading = trimmed(line.substr(3));
        if (line.rfind("| `", 0) != 0)
            continue;
        Row row{heading, {}};
        for (const auto& cell : split(line.substr(1, line.rfind('|') - 1), "|"))
            row.cells.push_back(trimmed(cell));
        rows.push_back(row);
    }
    return rows;
}

struct Member {
    std::string signature;
    std::string kind;
    std::string value;
};

// "in optional BSTR name = 1" becomes "[BSTR name = 1]"; the value of a call goes into the member.
std::string parameter(const std::string& text, Member& member) {
    static const std::string kIn = "in ";
    static const std::string kOptional = "in optional ";
    static const std::regex kValue(R"(out retval (.*)\*(?: \w+)?)");
    std::smatch match;
    if (std::regex_match(text, match, kValue)) {
        member.value = match[1];
        return "";
    }
    return text.rfind(kOptional, 0) == 0 ? "[" + text.substr(kOptional.size()) + "]" : text.substr(kIn.size());
}

// Takes up a line of the dump: "  slot 1 id 100 method sendTo(in IPin* pPin)". The value that is put has no name and
// no place in the reference; a property that is read and written is one member.
void addFunction(const std::smatch& line, std::map<std::string, Member>& members) {
    const std::string id = line[1];
    const std::string kind = line[2];
    const std::string parameters = line[4];
    Member member{line[3], kind, ""};
    std::string list;
    for (const auto& text : split(parameters, ", ")) {
        const auto named = kind == "put" || text.empty() ? "" : parameter(text, member);
        list += list.empty() || named.empty() ? named : ", " + named;
    }
    if (kind == "method" || !list.empty())
        member.signature += "(" + list + ")";
    const auto [known, isNew] = members.try_emplace(id, member);
    if (isNew)
        return;
    known->second.kind = "get, put";
    if (kind == "get")
        known->second.value = member.value;
}

void addMembers(const std::string& type, const std::map<std::string, Member>& members, Facts& facts) {
    for (const auto& [id, member] : members)
        facts.insert(type + " | " + member.signature + " | " + id + " | " + member.kind + " | " + member.value);
}

} // namespace

Facts factsOfReference() {
    Facts facts;
    for (const auto& [heading, cells] : rowsOfReference()) {
        const bool constant = cells.size() < 4;
        std::string fact = heading;
        for (std::size_t i = 0; i < (constant ? 2 : 4); ++i)
            fact += " | " + cells.at(i);
        facts.insert(fact);
    }
    return facts;
}

Facts factsOfTypeLibrary(const std::wstring& path) {
    static const std::regex kType(R"((dispatch|interface|enum|coclass) (\w+).*)");
    static const std::regex kFunction(R"(  slot \d+ id (-?\d+) (\w+) (\w+)\((.*?)\)(?: \(second accessor\))?)");
    static const std::regex kConstant(R"(  (\w+) = (-?\d+))");
    ComPointer<ITypeLib> library;
    throwIfFailed(LoadTypeLibEx(path.c_str(), REGKIND_NONE, library.put()));
    std::istringstream dump(dumpTypeLibrary(*library));
    Facts facts;
    std::string type;
    std::map<std::string, Member> members;
    std::smatch match;
    for (std::string line; std::getline(dump, line);) {
        if (std::regex_match(line, match, kType)) {
            addMembers(type, std::exchange(members, {}), facts);
            type = match[2];
        } else if (std::regex_match(line, match, kFunction)) {
            addFunction(match, members);
        } else if (std::regex_match(line, match, kConstant)) {
            facts.insert(type + " | " + match.str(1) + " | " + match.str(2));
        }
    }
    addMembers(type, members, facts);
    return facts;
}

} // namespace zorvan::test
