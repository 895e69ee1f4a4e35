// Events for real: what other processes do to the ports. Callbacks of scripts are among the examples.
#include "client.h"

#include "support/event_watch.h"

namespace zorvan::test {

namespace {

using EventsSystemTest = SystemTest;

TEST_F(EventsSystemTest, AnotherProcessChangesThePorts) {
    auto& own = create(L"COM81");
    const auto watch = makeComObject<EventWatch>();
    require(library_->addListener(watch.get()), "addListener");
    const struct {
        const wchar_t* action;
        const char* event;
        const wchar_t* port;
        std::size_t count;
    } steps[] = {
        {L"create COM80", "added", L"COM80", 1},
        {L"rename COM80 COM82", "renamed", L"COM82", 1},
        {L"bridge --temporary COM82 COM81", "mode", L"COM81", 1},
        {L"disconnect COM82", "mode", L"COM81", 2},
        {L"delete COM82", "deleted", L"COM82", 1},
        {L"delete COM81", "deleted", L"COM81", 1},
    };
    for (const auto& [action, event, port, count] : steps) {
        act(action);
        EXPECT_TRUE(becomesTrue([&] { return watch->count(event, port) >= count; }))
            << testing::PrintToString(action);
    }
    for (const auto& [action, event, port, count] : steps)
        EXPECT_TRUE(watch->count(event, port) == 1 || event == std::string("mode")) << testing::PrintToString(action);
    for (const auto& event : watch->events())
        EXPECT_EQ(event.thread, watch->events().front().thread) << event.what;
    EXPECT_NE(watch->events().front().thread, GetCurrentThreadId());
    EXPECT_EQ(E_HANDLE, own.deleteDevice()) << "the library has seen it go";
    require(library_->removeListener(watch.get()), "removeListener");
    watch->forget();
}

} // namespace

} // namespace zorvan::test
