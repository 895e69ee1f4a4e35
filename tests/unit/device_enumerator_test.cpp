// The collection's IEnumVARIANT.
#include "simulation/simulation_test.h"

#include <array>

namespace zorvan::simulation {

namespace {

class DeviceEnumerator : public SimulationTest {
protected:
    ComPointer<IEnumVARIANT> overThreePorts() {
        for (const auto* name : {L"COM5", L"COM6", L"COM7"})
            machine.addPort(name);
        const auto unknown = readObject(*collection(*createLibrary()), &IDeviceCollection::get__NewEnum);
        ComPointer<IEnumVARIANT> enumerator;
        EXPECT_RESULT(
            S_OK, unknown->QueryInterface(__uuidof(IEnumVARIANT), reinterpret_cast<void**>(enumerator.put())));
        return enumerator;
    }
};

// The next device's identity; null at the end.
void* next(IEnumVARIANT& enumerator) {
    Variant element;
    ULONG fetched = 7;
    const HRESULT result = enumerator.Next(1, &element, &fetched);
    EXPECT_RESULT(fetched == 1 ? S_OK : S_FALSE, result);
    EXPECT_EQ(element.vt, fetched == 1 ? VT_DISPATCH : VT_EMPTY);
    return element.vt == VT_DISPATCH ? element.pdispVal : nullptr;
}

TEST_F(DeviceEnumerator, NextGivesAsManyAsThereAre) {
    const auto enumerator = overThreePorts();
    std::array<Variant, 10> elements;
    ULONG fetched = 0;
    EXPECT_RESULT(S_FALSE, enumerator->Next(10, elements.data(), &fetched));
    EXPECT_EQ(fetched, 3U);
    std::set<std::wstring> names;
    for (std::size_t i = 0; i < 3; ++i) {
        ASSERT_EQ(elements[i].vt, VT_DISPATCH);
        Variant name;
        EXPECT_RESULT(S_OK, get(*elements[i].pdispVal, L"portName", &name));
        names.insert(name.bstrVal);
    }
    EXPECT_EQ(names, (std::set<std::wstring>{L"COM5", L"COM6", L"COM7"}));
    EXPECT_EQ(elements[3].vt, VT_EMPTY);
    EXPECT_EQ(next(*enumerator), nullptr);
}

TEST_F(DeviceEnumerator, NextOfExactlyWhatIsLeftIsNoEnd) {
    const auto enumerator = overThreePorts();
    std::array<Variant, 3> elements;
    ULONG fetched = 0;
    EXPECT_RESULT(S_OK, enumerator->Next(3, elements.data(), &fetched));
    EXPECT_EQ(fetched, 3U);
    EXPECT_RESULT(S_OK, enumerator->Next(0, elements.data(), &fetched));
    EXPECT_EQ(fetched, 0U);
}

TEST_F(DeviceEnumerator, OneElementNeedsNoCount) {
    const auto enumerator = overThreePorts();
    Variant element;
    EXPECT_RESULT(E_POINTER, enumerator->Next(0, &element, nullptr));
    EXPECT_RESULT(S_OK, enumerator->Next(1, &element, nullptr)); // one element needs no count
    EXPECT_EQ(element.vt, VT_DISPATCH);
}

TEST_F(DeviceEnumerator, SkipTellsTheEnd) {
    const auto enumerator = overThreePorts();
    EXPECT_RESULT(S_OK, enumerator->Skip(0));
    EXPECT_RESULT(S_OK, enumerator->Skip(3));
    EXPECT_EQ(next(*enumerator), nullptr);
    EXPECT_RESULT(S_OK, enumerator->Skip(0));
    EXPECT_RESULT(S_FALSE, enumerator->Skip(1));
    EXPECT_RESULT(S_OK, enumerator->Reset());
    EXPECT_RESULT(S_FALSE, enumerator->Skip(4));
    EXPECT_EQ(next(*enumerator), nullptr);
}

// Intended, although a clone elsewhere starts where its original stands.
TEST_F(DeviceEnumerator, CloneStartsAtTheFirstDevice) {
    auto enumerator = overThreePorts();
    void* first = next(*enumerator);
    next(*enumerator);
    ComPointer<IEnumVARIANT> clone;
    EXPECT_RESULT(S_OK, enumerator->Clone(clone.put()));
    enumerator = {};
    EXPECT_EQ(next(*clone), first); // and it keeps the collection alive by itself
    EXPECT_RESULT(S_OK, clone->Reset());
    EXPECT_EQ(next(*clone), first);
}

} // namespace

} // namespace zorvan::simulation
