// Many ports, and many clients at once.
#include "client.h"

#include "runner/runner.h"

#include <thread>

namespace zorvan::test {

namespace {

using ManyPortsSystemTest = SystemTest;

TEST_F(ManyPortsSystemTest, ThirtyTwoPorts) {
    constexpr int kCount = 32;
    allowTime(std::chrono::minutes(3)); // a creation takes half a second by design, and the machine may be busy
    const auto before = presentPortNames();
    std::set<std::wstring> names;
    for (int i = 0; i < kCount; ++i)
        names.insert(portName(*create()));
    EXPECT_EQ(kCount, static_cast<int>(names.size())) << "every port has a number of its own";

    auto expected = before;
    expected.insert(names.begin(), names.end());
    EXPECT_EQ(expected, listPortNames(*library_));
    EXPECT_EQ(expected, presentPortNames());

    deletePorts();
    EXPECT_EQ(before, presentPortNames());
}

// Every client creates and deletes ports of its own.
void workAsClient(std::vector<std::wstring>& names, HRESULT& result) {
    constexpr int kPortsEach = 3;
    result = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (FAILED(result))
        return;
    {
        const auto library = createLibrary();
        for (int i = 0; i < kPortsEach && SUCCEEDED(result); ++i) {
            Device device;
            result = createPort(*library, std::nullopt, device);
            if (SUCCEEDED(result)) {
                names.push_back(portName(*device));
                if (i != 0)
                    result = device->deleteDevice();
            }
        }
    }
    CoUninitialize();
}

TEST_F(ManyPortsSystemTest, ClientsCreateAtOnce) {
    constexpr std::size_t kClients = 4;
    allowTime(std::chrono::minutes(2));
    std::vector<std::vector<std::wstring>> names(kClients);
    std::vector<HRESULT> results(kClients, E_FAIL);
    std::vector<std::thread> clients;
    for (std::size_t i = 0; i < kClients; ++i)
        clients.emplace_back([&, i] { workAsClient(names[i], results[i]); });
    for (auto& client : clients)
        client.join();

    std::set<std::wstring> kept;
    for (std::size_t i = 0; i < kClients; ++i) {
        EXPECT_EQ(S_OK, results[i]) << "client " << i;
        if (!names[i].empty())
            kept.insert(names[i].front());
    }
    EXPECT_EQ(kClients, kept.size()) << "no two clients were given the same number";
    const auto library = createLibrary();
    for (const auto& device : listDevices(*library)) {
        if (kept.erase(portName(*device)) != 0) {
            EXPECT_EQ(S_OK, device->deleteDevice());
        }
    }
    EXPECT_TRUE(kept.empty()) << "every port that was created is listed";
}

} // namespace

} // namespace zorvan::test
