// Reading and setting a property, early and late bound.
#include "sections.h"

#include "driver/protocol.h"
#include "ports.h"

namespace zorvan::bench {

namespace {

constexpr Plan kPlan{15, 100};
constexpr char kBareRead[] = "a bare open, request, close";

using protocol::Query;
using protocol::Set;

// What a property costs without the library: the control path is opened afresh, as the library does it.
class BareRequest {
public:
    explicit BareRequest(std::wstring path) : path_(std::move(path)) {}

    template <class Record>
    void set(Set request, Record& record) {
        send(GENERIC_READ | GENERIC_WRITE, static_cast<DWORD>(request), &record, sizeof record, nullptr, 0);
    }
    void query(Query request) {
        send(GENERIC_READ, static_cast<DWORD>(request), nullptr, 0, reply_.data(), static_cast<DWORD>(reply_.size()));
    }

private:
    void send(DWORD access, DWORD code, void* input, DWORD inputSize, void* reply, DWORD replySize) const {
        HANDLE file = CreateFileW(
            path_.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
            nullptr);
        DWORD returned = 0;
        const BOOL sent = DeviceIoControl(file, code, input, inputSize, reply, replySize, &returned, nullptr);
        CloseHandle(file);
        expect(sent != FALSE, "a bare request");
    }

    std::wstring path_;
    std::vector<BYTE> reply_ = std::vector<BYTE>(protocol::kReplySize);
};

DISPID lookUp(IDispatch& object, const wchar_t* name) {
    std::wstring copy = name;
    auto* text = copy.data();
    DISPID id = DISPID_UNKNOWN;
    require(object.GetIDsOfNames(IID_NULL, &text, 1, LOCALE_USER_DEFAULT, &id), "GetIDsOfNames");
    return id;
}

// As a script engine calls: the name is looked up each time.
void readLate(IDispatch& object, const wchar_t* name) {
    DISPPARAMS none{};
    VARIANT result{};
    require(
        object.Invoke(
            lookUp(object, name), IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, &result, nullptr,
            nullptr),
        "Invoke");
    VariantClear(&result);
}

void askForMember(IDispatch& object, const wchar_t* name) {
    lookUp(object, name);
}

// What is done with an object, or with each of many new ones.
using Use = void (*)(IDispatch& object, const wchar_t* name);

double useEach(const std::vector<ComPointer<IDispatch>>& objects, Use use, const wchar_t* name) {
    return secondsOf([&] {
        for (const auto& object : objects)
            use(*object, name);
    });
}

// The first call on each of many new objects, beside as many on one that has been called before.
template <class Make>
void measureFirstCall(Report& report, const std::string& name, Use use, const wchar_t* member, Make&& make) {
    constexpr Plan kFirstPlan{15, 5};
    constexpr std::size_t kObjects = 20;
    const auto makeMany = [&] {
        std::vector<ComPointer<IDispatch>> objects(kObjects);
        for (auto& object : objects)
            object = make();
        return objects;
    };
    const std::vector<ComPointer<IDispatch>> old(kObjects, make());
    const auto taken = takeTurns(
        kFirstPlan, {[&] { return useEach(makeMany(), use, member); },
                     [&] {
                         const auto rest = makeMany(); // the other side makes them, too
                         return useEach(old, use, member);
                     }});
    report.add(
        {name, atMost(1.5), ratioOf(taken[0], taken[1]), kTimes,
         "an old object: " + duration(spreadOf(taken[1]).median / kObjects)});
}

void measureFirstCalls(Report& report, IVirtualSerialLibrary& library, IVirtualSerialDevice& device) {
    measureFirstCall(report, "first late-bound call on a new collection", readLate, L"Count", [&] {
        return readObject(library, &IVirtualSerialLibrary::get_devicesCollection);
    });
    measureFirstCall(report, "first late-bound call on a new socket", readLate, L"DTR", [&] {
        return readObject(device, &IVirtualSerialDevice::get_localSocket);
    });
    const auto socket = readObject(device, &IVirtualSerialDevice::get_localSocket);
    measureFirstCall(report, "first late-bound look-up on a new pin", askForMember, L"sendTo", [&] {
        return readObject(*socket, &ISocket::get_DTR);
    });
}

} // namespace

void measureCalls(Report& report) {
    const auto library = createRegisteredLibrary();
    const auto device = devicesOf(*library).front();
    BareRequest bare(controlPath(*device));

    const auto bareRead = [&] { return secondsOf([&] { bare.query(Query::Mode); }); };
    const auto reads = takeTurns(
        kPlan, {[&] {
                    VirtualSerialDeviceMode mode{};
                    return secondsOf([&] { require(device->get_mode(&mode), "mode"); });
                },
                [&] { return secondsOf([&] { readLate(*device, L"mode"); }); }, bareRead, bareRead});
    report.addRatio("the same twice: a bare open, request, close", kNoGoal, reads[3], reads[2], kBareRead);
    report.addRatio("reading a property", atMost(1.03), reads[0], reads[2], kBareRead);
    report.addRatio("reading a property, late-bound", atMost(1.10), reads[1], reads[2], kBareRead);

    protocol::ErrorEmulationShort noErrors{protocol::kBitCrossover, 0, 0};
    const auto writes = takeTurns(
        kPlan,
        {[&] { return secondsOf([&] { require(device->put_crossoverProbability(0.0), "crossoverProbability"); }); },
         [&] { return secondsOf([&] { bare.set(Set::ErrorEmulation, noErrors); }); }});
    report.addRatio("setting a property", atMost(1.03), writes[0], writes[1], kBareRead);
    measureFirstCalls(report, *library, *device);
}

} // namespace zorvan::bench
