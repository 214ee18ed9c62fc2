// AppleEventsTest.cpp: descriptors and Apple events as records, and AESend to the system process
// through a private bus with a mock logind: each event reaches its method, never asking the user;
// a missing bus, a missing logind and a refusing one give the Apple Event Manager's statuses.
#include <ApplicationServices/ApplicationServices.h>
#include <CoreServices/CoreServices.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "SystemBus.h"
#include "TestSupport.h"

namespace {

using zrtest::PrivateSystemBus;

// An event of the class 'aevt' with the ID to the system process.
OSErr SendToSystem(AEEventID eventID, AEEventClass eventClass = kCoreEventClass) {
  ProcessSerialNumber system = {0, kSystemProcess};
  AEDesc target;
  AppleEvent event;
  AppleEvent reply;
  AEInitializeDesc(&event);
  OSErr status = AECreateDesc(typeProcessSerialNumber, &system, sizeof system, &target);
  if (status == noErr)
    status = AECreateAppleEvent(eventClass, eventID, &target, kAutoGenerateReturnID, kAnyTransactionID, &event);
  if (status == noErr)
    status = AESend(&event, &reply, kAENoReply, kAENormalPriority, kAEDefaultTimeout, nullptr, nullptr);
  AEDisposeDesc(&reply);
  AEDisposeDesc(&event);
  AEDisposeDesc(&target);
  return status;
}

TEST(AppleEventsTest, CodesAreTheirFourCharacters) {
  EXPECT_EQ(kCoreEventClass, 0x61657674u);
  EXPECT_EQ(kAESleep, 0x736C6570u);
  EXPECT_EQ(kAEShutDown, 0x73687574u);
  EXPECT_EQ(kAERestart, 0x72657374u);
  EXPECT_EQ(kAEReallyLogOut, 0x726C676Fu);
  EXPECT_EQ(typeProcessSerialNumber, 0x70736E20u);
}

TEST(AppleEventsTest, DescriptorsOwnACopyOfTheirBytes) {
  ProcessSerialNumber psn = {0, kSystemProcess};
  AEDesc desc;
  ASSERT_EQ(AECreateDesc(typeProcessSerialNumber, &psn, sizeof psn, &desc), noErr);
  psn.lowLongOfPSN = 99;
  EXPECT_EQ(desc.descriptorType, typeProcessSerialNumber);
  ASSERT_EQ(AEGetDescDataSize(&desc), static_cast<Size>(8));
  ProcessSerialNumber copy = {};
  ASSERT_EQ(AEGetDescData(&desc, &copy, sizeof copy), noErr);
  EXPECT_EQ(copy.lowLongOfPSN, static_cast<UInt32>(kSystemProcess));
  EXPECT_EQ(AEDisposeDesc(&desc), noErr);
  EXPECT_EQ(desc.descriptorType, typeNull);
  EXPECT_EQ(desc.dataHandle, nullptr);
  EXPECT_EQ(AEDisposeDesc(&desc), noErr);  // a null descriptor again
  EXPECT_EQ(AEGetDescData(&desc, &copy, sizeof copy), errAEDescIsNull);
}

TEST(AppleEventsTest, CreateDescRefusesBadArguments) {
  AEDesc desc;
  EXPECT_EQ(AECreateDesc(typeProcessSerialNumber, nullptr, 8, &desc), paramErr);
  EXPECT_EQ(desc.descriptorType, typeNull);
  EXPECT_EQ(AECreateDesc(typeProcessSerialNumber, &desc, -1, &desc), paramErr);
  EXPECT_EQ(AECreateDesc(typeProcessSerialNumber, nullptr, 0, nullptr), paramErr);
}

TEST(AppleEventsTest, OutOfMemoryGivesMemFullAndANullDescriptor) {
  ProcessSerialNumber psn = {0, kSystemProcess};
  AEDesc desc;
  ZRTestingFailAllocation(1);
  EXPECT_EQ(AECreateDesc(typeProcessSerialNumber, &psn, sizeof psn, &desc), memFullErr);
  EXPECT_EQ(desc.dataHandle, nullptr);
  ASSERT_EQ(AECreateDesc(typeProcessSerialNumber, &psn, sizeof psn, &desc), noErr);
  AppleEvent event;
  ZRTestingFailAllocation(1);
  EXPECT_EQ(AECreateAppleEvent(kCoreEventClass, kAESleep, &desc, kAutoGenerateReturnID, kAnyTransactionID, &event),
            memFullErr);
  EXPECT_EQ(event.descriptorType, typeNull);
  AEDisposeDesc(&desc);
}

TEST(AppleEventsTest, EventsKeepTheirClassAndIDAndNeedAnAddress) {
  ProcessSerialNumber psn = {0, kSystemProcess};
  AEDesc target;
  ASSERT_EQ(AECreateDesc(typeProcessSerialNumber, &psn, sizeof psn, &target), noErr);
  AppleEvent event;
  ASSERT_EQ(AECreateAppleEvent(kCoreEventClass, kAERestart, &target, kAutoGenerateReturnID, kAnyTransactionID, &event),
            noErr);
  EXPECT_EQ(event.descriptorType, typeAppleEvent);
  AEEventClass eventClass = 0;
  AEEventID eventID = 0;
  ASSERT_EQ(AEGetEventClassAndID(&event, &eventClass, &eventID), noErr);
  EXPECT_EQ(eventClass, kCoreEventClass);
  EXPECT_EQ(eventID, kAERestart);
  EXPECT_EQ(AEGetEventClassAndID(&target, &eventClass, &eventID), errAENotAppleEvent);
  AEDisposeDesc(&event);
  AEDesc notAnAddress;
  ASSERT_EQ(AECreateDesc(0x54455854, "text", 4, &notAnAddress), noErr);  // 'TEXT'
  EXPECT_EQ(
      AECreateAppleEvent(kCoreEventClass, kAESleep, &notAnAddress, kAutoGenerateReturnID, kAnyTransactionID, &event),
      errAEUnknownAddressType);
  EXPECT_EQ(AECreateAppleEvent(kCoreEventClass, kAESleep, nullptr, kAutoGenerateReturnID, kAnyTransactionID, &event),
            paramErr);
  AEDisposeDesc(&notAnAddress);
  AEDisposeDesc(&target);
}

TEST(AppleEventsTest, SendRefusesWhatIsNoEvent) {
  AEDesc nothing;
  AEInitializeDesc(&nothing);
  EXPECT_EQ(AESend(&nothing, nullptr, kAENoReply, kAENormalPriority, kAEDefaultTimeout, nullptr, nullptr),
            errAENotAppleEvent);
  EXPECT_EQ(AESend(nullptr, nullptr, kAENoReply, kAENormalPriority, kAEDefaultTimeout, nullptr, nullptr),
            errAENotAppleEvent);
}

class SystemEventsTest : public ::testing::Test {
 protected:
  PrivateSystemBus bus_;
};

TEST_F(SystemEventsTest, EachEventReachesItsLogindMethodWithoutAskingTheUser) {
  ASSERT_TRUE(zrtest::RequirePrivateSystemBus(bus_)) << "refusing to send events without the private bus";
  EXPECT_EQ(SendToSystem(kAESleep), noErr);
  EXPECT_EQ(SendToSystem(kAEShutDown), noErr);
  EXPECT_EQ(SendToSystem(kAERestart), noErr);
  EXPECT_EQ(SendToSystem(kAEReallyLogOut), noErr);
  std::vector<std::string> expected = {"Suspend False", "PowerOff False", "Reboot False", "TerminateSession \"auto\""};
  EXPECT_EQ(bus_.Calls(), expected);
}

TEST_F(SystemEventsTest, OtherEventsAndTargetsAreNotHandled) {
  ASSERT_TRUE(zrtest::RequirePrivateSystemBus(bus_)) << "refusing to send events without the private bus";
  EXPECT_EQ(SendToSystem(0x71756974), errAEEventNotHandled);            // 'quit'
  EXPECT_EQ(SendToSystem(kAESleep, 0x6D697363), errAEEventNotHandled);  // class 'misc'
  ProcessSerialNumber self = {0, kCurrentProcess};
  AEDesc target;
  AppleEvent event;
  ASSERT_EQ(AECreateDesc(typeProcessSerialNumber, &self, sizeof self, &target), noErr);
  ASSERT_EQ(AECreateAppleEvent(kCoreEventClass, kAESleep, &target, kAutoGenerateReturnID, kAnyTransactionID, &event),
            noErr);
  EXPECT_EQ(AESend(&event, nullptr, kAENoReply, kAENormalPriority, kAEDefaultTimeout, nullptr, nullptr),
            connectionInvalid);
  EXPECT_EQ(AESend(&event, nullptr, 0, kAENormalPriority, kAEDefaultTimeout, nullptr, nullptr), errAEUnknownSendMode);
  AEDisposeDesc(&event);
  AEDisposeDesc(&target);
  EXPECT_TRUE(bus_.Calls().empty());
}

TEST_F(SystemEventsTest, RefusingLogindGivesThePrivilegeError) {
  ASSERT_TRUE(zrtest::RequirePrivateSystemBus(bus_)) << "refusing to send events without the private bus";
  ASSERT_TRUE(bus_.MakeMethodFail("PowerOff", "b", "org.freedesktop.DBus.Error.AccessDenied"));
  EXPECT_EQ(SendToSystem(kAEShutDown), errAEPrivilegeError);
  ASSERT_TRUE(bus_.MakeMethodFail("Reboot", "b", "org.freedesktop.login1.OperationInProgress"));
  EXPECT_EQ(SendToSystem(kAERestart), errAEEventFailed);
}

TEST(SystemEventsWithoutLogindTest, MissingLogindGivesProcNotFound) {
  PrivateSystemBus bus(false);
  ASSERT_TRUE(zrtest::RequirePrivateSystemBus(bus)) << "refusing to send events without the private bus";
  EXPECT_EQ(SendToSystem(kAESleep), procNotFound);
}

TEST(SystemEventsWithoutBusTest, MissingBusGivesConnectionInvalid) {
  setenv("DBUS_SYSTEM_BUS_ADDRESS", zrtest::AbsentBusAddress().c_str(), 1);
  EXPECT_EQ(SendToSystem(kAESleep), connectionInvalid);
}

}  // namespace
