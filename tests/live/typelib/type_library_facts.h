// What a type library says about its types: all that a client depends on.
#pragma once

#include <oaidl.h>

#include <string>
#include <utility>
#include <vector>

namespace zorvan::test {

struct Member {
    std::string name;
    std::string parameters; // "(BSTR portName, [long number = 1])"; empty for a property without any
    std::string kind;       // "method", "get" or "put"
    std::string value;      // the type of what is got, put or returned
    std::string help;
    MEMBERID id;
    int slot; // among the interface's own functions, from 1
};

struct Type {
    std::string name;
    std::string description; // kind, name, identifier, flags and bases
    std::string help;
    std::vector<Member> members;
    std::vector<std::pair<std::string, std::string>> constants; // names and values
};

// In the order of their names.
std::vector<Type> typesOf(ITypeLib& library);

std::string guidText(const GUID& guid);

} // namespace zorvan::test
