#include "output/progress.h"

#include "output/console.h"

#include <fmt/core.h>

namespace portwright {
namespace {

constexpr std::size_t kBarWidth = 20;

class Bar {
public:
    explicit Bar(const std::string& line) : width_(line.size()) { console::complain(line); }
    Bar(const Bar&) = delete;
    Bar& operator=(const Bar&) = delete;
    ~Bar() { console::complain("\r" + std::string(width_, ' ') + "\r"); }

private:
    std::size_t width_;
};

} // namespace

void Progress::during(const std::string& what, const std::function<void()>& action) {
    const auto number = done_++;
    if (total_ < 2 || !console::isTerminal(console::Stream::Error)) {
        action();
        return;
    }
    const auto filled = kBarWidth * number / total_;
    const Bar bar(fmt::format("[{:#<{}}{:.<{}}] {}/{} {}", "", filled, "", kBarWidth - filled, number, total_, what));
    action();
}

} // namespace portwright
