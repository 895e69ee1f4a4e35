// A progress bar on a terminal, for work of several parts.
#pragma once

#include <functional>
#include <string>

namespace portwright {

class Progress {
public:
    explicit Progress(std::size_t total) : total_(total) {}

    // Shows how much is done, and what comes now, while this part of the work lasts.
    void during(const std::string& what, const std::function<void()>& action);

private:
    std::size_t total_;
    std::size_t done_ = 0;
};

} // namespace portwright
