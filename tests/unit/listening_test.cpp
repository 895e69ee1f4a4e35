// Listening: which security descriptor the driver is sent.
#include "one_port.h"

namespace zorvan::simulation {

namespace {

using protocol::RecordWriter;
using protocol::Set;

using Listening = OnePort;

TEST_F(Listening, TextIsSentAsItIs) {
    const std::pair<Variant, std::wstring> rows[] = {
        {Variant(), L"D:AR(A;;CC;;;WD)"},
        {Variant::omitted(), L"D:AR(A;;CC;;;WD)"},
        {Variant(L"O:BAD:(A;;GA;;;BA)"), L"O:BAD:(A;;GA;;;BA)"}};
    for (const auto& [argument, text] : rows) {
        forgetCalls();
        EXPECT_RESULT(S_OK, device5().startListening(argument));
        EXPECT_EQ(driver().records(Set::StartListening), once(RecordWriter().appendString(text)));
        EXPECT_EQ(readText(device5(), &IVirtualSerialDevice::get_securityDescriptor), text);
    }
}

TEST_F(Listening, TextsThatAreNoDescriptorsAreNotSent) {
    for (const wchar_t* invalid : {L"nonsense", L"D:(A;;CC;;;WD", L"X:"})
        EXPECT_TRUE(FAILED(device5().startListening(Variant(invalid)))) << invalid;
    EXPECT_TRUE(driver().requests.empty());
}

} // namespace

} // namespace zorvan::simulation
