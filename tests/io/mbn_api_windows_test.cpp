#include "io/mbn/mbn_api.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstddef>
#include <utility>

#include "io/mbn/qmbe_io.h"

// The slots are pinned from both ends. For what the library calls, every method is called on an
// object whose table of slots is made here by hand, and must land in the slot whose number is
// published. For the sink, which the platform calls, every slot of the real object is called by its
// number.
namespace corvane {
namespace {

GUID PlatformsReading(const wchar_t* text) {
  GUID guid{};
  EXPECT_EQ(IIDFromString(text, &guid), S_OK) << "not an identifier";
  return guid;
}

void ExpectSame(const GUID& declared, const wchar_t* published) {
  EXPECT_TRUE(IsEqualGUID(declared, PlatformsReading(published)));
}

TEST(MbnIdentifiers, AreThePublishedOnesOfTheClasses) {
  ExpectSame(kDeviceServicesManagerClass, L"{2269DAA3-2A9F-4165-A501-CE00A6F7A75B}");
  ExpectSame(kInterfaceManagerClass, L"{BDFEE05B-4418-11DD-90ED-001C257CCFF1}");
}

TEST(MbnIdentifiers, AreThePublishedOnesOfTheInterfaces) {
  ExpectSame(kInterfaceId<IUnknown>, L"{00000000-0000-0000-C000-000000000046}");
  ExpectSame(kInterfaceId<IConnectionPointContainer>, L"{B196B284-BAB4-101A-B69C-00AA00341D07}");
  ExpectSame(kInterfaceId<IMbnInterfaceManager>, L"{DCBBBAB6-201B-4BBB-AAEE-338E368AF6FA}");
  ExpectSame(kInterfaceId<IMbnInterface>, L"{DCBBBAB6-2001-4BBB-AAEE-338E368AF6FA}");
  ExpectSame(kInterfaceId<IMbnDeviceServicesManager>, L"{20A26258-6811-4478-AC1D-13324E45E41C}");
  ExpectSame(kInterfaceId<IMbnDeviceServicesContext>, L"{FC5AC347-1592-4068-80BB-6A57580150D8}");
  ExpectSame(kInterfaceId<IMbnDeviceService>, L"{B3BB9A71-DC70-4BE9-A4DA-7886AE8B191B}");
  ExpectSame(kInterfaceId<IMbnDeviceServicesEvents>, L"{0A900C19-6824-4E97-B76E-CF239D0CA642}");
}

// An object of nothing but slots: slot n answers n.
constexpr std::size_t kSlots = 16;

template <int kSlot>
HRESULT STDMETHODCALLTYPE AnswerSlot(void*) {
  return kSlot;
}

using Slot = HRESULT(STDMETHODCALLTYPE*)(void*);

template <std::size_t... kSlotNumbers>
constexpr std::array<Slot, kSlots> MakeSlots(std::index_sequence<kSlotNumbers...>) {
  return {AnswerSlot<kSlotNumbers>...};
}

constexpr std::array<Slot, kSlots> kTable = MakeSlots(std::make_index_sequence<kSlots>());

struct sSlotObject {
  const Slot* table = kTable.data();
};

// The object as the interface that its table is to be read as. Volatile, because the compiler must
// not reason about which class it really is.
template <class Interface>
Interface& As(sSlotObject& object) {
  void* volatile address = &object;
  return *static_cast<Interface*>(address);
}

TEST(MbnSlots, OfTheInterfaceManagerAreAsPublished) {
  sSlotObject object;
  auto& manager = As<IMbnInterfaceManager>(object);
  EXPECT_EQ(manager.GetInterface(nullptr, nullptr), 3);
  EXPECT_EQ(manager.GetInterfaces(nullptr), 4);
}

TEST(MbnSlots, OfTheInterfaceAreAsPublished) {
  sSlotObject object;
  auto& one = As<IMbnInterface>(object);
  EXPECT_EQ(one.get_InterfaceID(nullptr), 3);
  EXPECT_EQ(one.GetInterfaceCapability(nullptr), 4);
  EXPECT_EQ(one.GetSubscriberInformation(nullptr), 5);
  EXPECT_EQ(one.GetReadyState(nullptr), 6);
  EXPECT_EQ(one.InEmergencyMode(nullptr), 7);
  EXPECT_EQ(one.GetHomeProvider(nullptr), 8);
  EXPECT_EQ(one.GetPreferredProviders(nullptr), 9);
  EXPECT_EQ(one.SetPreferredProviders(nullptr, nullptr), 10);
  EXPECT_EQ(one.GetVisibleProviders(nullptr, nullptr), 11);
  EXPECT_EQ(one.ScanNetwork(nullptr), 12);
  EXPECT_EQ(one.GetConnection(nullptr), 13);
}

TEST(MbnSlots, OfTheDeviceServicesManagerAreAsPublished) {
  sSlotObject object;
  EXPECT_EQ(As<IMbnDeviceServicesManager>(object).GetDeviceServicesContext(nullptr, nullptr), 3);
}

TEST(MbnSlots, OfTheDeviceServicesContextAreAsPublished) {
  sSlotObject object;
  auto& context = As<IMbnDeviceServicesContext>(object);
  EXPECT_EQ(context.EnumerateDeviceServices(nullptr), 3);
  EXPECT_EQ(context.GetDeviceService(nullptr, nullptr), 4);
  EXPECT_EQ(context.get_MaxCommandSize(nullptr), 5);
  EXPECT_EQ(context.get_MaxDataSize(nullptr), 6);
}

TEST(MbnSlots, OfTheDeviceServiceAreAsPublished) {
  sSlotObject object;
  auto& service = As<IMbnDeviceService>(object);
  EXPECT_EQ(service.QuerySupportedCommands(nullptr), 3);
  EXPECT_EQ(service.OpenCommandSession(nullptr), 4);
  EXPECT_EQ(service.CloseCommandSession(nullptr), 5);
  EXPECT_EQ(service.SetCommand(0, nullptr, nullptr), 6);
  EXPECT_EQ(service.QueryCommand(0, nullptr, nullptr), 7);
  EXPECT_EQ(service.OpenDataSession(nullptr), 8);
  EXPECT_EQ(service.CloseDataSession(nullptr), 9);
  EXPECT_EQ(service.WriteData(nullptr, nullptr), 10);
  EXPECT_EQ(service.get_InterfaceID(nullptr), 11);
  EXPECT_EQ(service.get_DeviceServiceID(nullptr), 12);
  EXPECT_EQ(service.get_IsCommandSessionOpen(nullptr), 13);
  EXPECT_EQ(service.get_IsDataSessionOpen(nullptr), 14);
}

TEST(MbnSlots, OfTheSinkAreAsPublished) {
  sSlotObject object;
  auto& sink = As<IMbnDeviceServicesEvents>(object);
  EXPECT_EQ(sink.QueryInterface(IID{}, nullptr), 0);
  EXPECT_EQ(sink.AddRef(), 1U);
  EXPECT_EQ(sink.Release(), 2U);
  EXPECT_EQ(sink.OnQuerySupportedCommandsComplete(nullptr, nullptr, S_OK, 0), 3);
  EXPECT_EQ(sink.OnOpenCommandSessionComplete(nullptr, S_OK, 0), 4);
  EXPECT_EQ(sink.OnCloseCommandSessionComplete(nullptr, S_OK, 0), 5);
  EXPECT_EQ(sink.OnSetCommandComplete(nullptr, 0, nullptr, S_OK, 0), 6);
  EXPECT_EQ(sink.OnQueryCommandComplete(nullptr, 0, nullptr, S_OK, 0), 7);
  EXPECT_EQ(sink.OnEventNotification(nullptr, 0, nullptr), 8);
  EXPECT_EQ(sink.OnOpenDataSessionComplete(nullptr, S_OK, 0), 9);
  EXPECT_EQ(sink.OnCloseDataSessionComplete(nullptr, S_OK, 0), 10);
  EXPECT_EQ(sink.OnWriteDataComplete(nullptr, S_OK, 0), 11);
  EXPECT_EQ(sink.OnReadData(nullptr, nullptr), 12);
  EXPECT_EQ(sink.OnInterfaceStateChange(nullptr, MBN_DEVICE_SERVICES_CAPABLE_INTERFACE_ARRIVAL),
            13);
}

TEST(MbnSlots, OfTheTransportBeginWithTheSinks) {
  // The platform's pointer to the sink is the object's own address, and its first three slots are
  // IUnknown's.
  auto* const transport = new cQMBEIO;
  auto* const sink = static_cast<IMbnDeviceServicesEvents*>(transport);
  void* const address = transport;
  EXPECT_EQ(static_cast<void*>(sink), address);
  const auto* const slots = *static_cast<void***>(address);

  using Counting = ULONG(STDMETHODCALLTYPE*)(void*);
  const auto addRef = std::bit_cast<Counting>(slots[1]);
  const auto release = std::bit_cast<Counting>(slots[2]);
  EXPECT_EQ(addRef(address), 1U);
  EXPECT_EQ(addRef(address), 2U);

  using Query = HRESULT(STDMETHODCALLTYPE*)(void*, const IID*, void**);
  void* found = nullptr;
  const IID sinkId = PlatformsReading(L"{0A900C19-6824-4E97-B76E-CF239D0CA642}");
  EXPECT_EQ(std::bit_cast<Query>(slots[0])(address, &sinkId, &found), S_OK);
  EXPECT_EQ(found, address);

  EXPECT_EQ(release(address), 2U);
  EXPECT_EQ(release(address), 1U);
  EXPECT_EQ(release(address), 0U);
}

TEST(MbnStates, HaveThePublishedNumbers) {
  EXPECT_EQ(static_cast<int>(MBN_DEVICE_SERVICES_CAPABLE_INTERFACE_ARRIVAL), 0);
  EXPECT_EQ(static_cast<int>(MBN_DEVICE_SERVICES_CAPABLE_INTERFACE_REMOVAL), 1);
}

}  // namespace
}  // namespace corvane
