// Several things that are tried one after the other, whatever becomes of the former.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace portwright {

class Attempts {
public:
    // Tells what fails. After Ctrl+C nothing more is begun: throws.
    void run(const std::string& what, const std::function<void()>& action);
    // Throws AlreadyTold when anything has failed.
    void end() const;

private:
    bool failed_ = false;
};

void tryEach(const std::vector<std::string>& names, const std::function<void(const std::string&)>& action);

} // namespace portwright
