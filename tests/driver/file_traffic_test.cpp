// Bytes from one file and to another.
#include "control_client.h"
#include "device_node.h"
#include "serial_client.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>

namespace zorvan::test {
namespace {

using protocol::Query;
using protocol::RecordWriter;
using protocol::Set;

// In the folder for temporary files, until it is destroyed.
class TemporaryFile {
public:
    explicit TemporaryFile(const wchar_t* name, const Data& content = {})
        : path_(std::filesystem::temp_directory_path() / name) {
        std::ofstream file(path_, std::ios::binary);
        file.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
    }
    ~TemporaryFile() { std::filesystem::remove(path_); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    UniqueHandle open(DWORD access, DWORD sharing) const {
        return fileHandle(
            CreateFileW(path_.c_str(), access, sharing, nullptr, OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr));
    }

    Data content() const {
        std::ifstream file(path_, std::ios::binary);
        return Data(std::istreambuf_iterator<char>(file), {});
    }

private:
    std::filesystem::path path_;
};

TEST(FileTraffic, LosesNothingHoweverItEnds) {
    const struct {
        const char* what;
        std::function<void(DeviceNode&, const ControlClient&)> end;
    } rows[] = {
        {"disconnected", [](DeviceNode&, const ControlClient& client) { client.set(Set::Disconnect); }},
        {"removed", [](DeviceNode& device, const ControlClient&) { device.remove(); }},
    };
    const auto received = pattern(200'000, 1);
    const auto sent = pattern(300'000, 2);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        const TemporaryFile input(L"zorvan-input", received);
        const TemporaryFile output(L"zorvan-output");
        DeviceNode device{0u};
        const ControlClient client(device.controlPath());
        RecordWriter record;
        record.append(protocol::HostHandlePair{
            client.copyToHost(output.open(GENERIC_WRITE, FILE_SHARE_READ).get()),
            client.copyToHost(input.open(GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE).get())});
        ASSERT_EQ(client.set(Set::ConnectFiles, record.bytes()), 0u);

        SerialClient port(device.portName());
        EXPECT_EQ(port.read(received.size()).data, received);
        const auto beyondTheEnd = port.startRead(1);
        EXPECT_EQ(port.write(sent).count, sent.size());
        EXPECT_FALSE(beyondTheEnd->done());
        EXPECT_EQ(client.mode(), kHandles);
        const auto counters = client.ask<protocol::TrafficCounters>(Query::Traffic);
        EXPECT_EQ(counters.connections, 1u);
        EXPECT_EQ(counters.bytesSent, sent.size());
        EXPECT_EQ(counters.bytesReceived, received.size());

        port.close();
        row.end(device, client);
        EXPECT_EQ(output.content(), sent);
    }
}

} // namespace
} // namespace zorvan::test
