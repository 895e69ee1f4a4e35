#include "commands/attempts.h"

#include "com/failure.h"
#include "com/interrupt.h"

namespace portwright {

void Attempts::run(const std::string& what, const std::function<void()>& action) {
    if (interrupt::requested())
        throw Failure("interrupted before: " + what, "what was done before stays done");
    try {
        action();
    } catch (const Failure& failure) {
        tell(failure);
        failed_ = true;
    }
}

void Attempts::end() const {
    if (failed_)
        throw AlreadyTold();
}

void tryEach(const std::vector<std::string>& names, const std::function<void(const std::string&)>& action) {
    Attempts attempts;
    for (const auto& name : names)
        attempts.run(name, [&] { action(name); });
    attempts.end();
}

} // namespace portwright
