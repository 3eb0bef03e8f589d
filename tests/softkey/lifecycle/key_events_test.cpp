// Keys that come and go while clients wait for them.
#include <gmock/gmock.h>

#include <memory>
#include <vector>

#include "key_wait.h"
#include "software_key.h"

namespace lifecycle {
namespace {

using KeyEvents = SoftwareKeyTest;

TEST_F(KeyEvents, AKeyArrivesAndLeavesWhileAClientWaits) {
    const std::string key = NewKey();
    KeyWait arrival;
    EXPECT_FALSE(arrival.HasEnded());
    Plug(key);
    EXPECT_EQ(Inserted(key), arrival.Result());
    EXPECT_EQ(key, Given(AskForText(GetPrintNumber)));
    KeyWait removal;
    Unplug(key);
    EXPECT_EQ(Removed(key), removal.Result());
    EXPECT_EQ(Code::kDeviceRemoved, AskForText(GetPrintNumber).code);
}

TEST_F(KeyEvents, TheBufferForASerialNumberIsAskedFor) {
    uint32_t kind = 0;
    uint32_t length = 0;
    EXPECT_EQ(kOk, Checked(WaitForKeyEvent(&kind, nullptr, &length)));
    EXPECT_EQ(17U, length);
}

TEST_F(KeyEvents, AStoppedWaitLeavesTheNextOneWhole) {
    const std::string key = NewKey();
    KeyWait stopped;
    stopped.Stop();
    EXPECT_EQ((KeyEvent{kOk, ORVAL_WAIT_STOPPED, ""}), stopped.Result());
    KeyWait arrival;
    Plug(key);
    EXPECT_EQ(Inserted(key), arrival.Result());
}

TEST_F(KeyEvents, EachOfSeveralKeysIsToldByItsSerialNumber) {
    const std::string first = NewPluggedKey();
    const std::string second = NewKey();
    const std::string third = NewKey();
    {
        KeyWait wait;
        Plug(second);
        EXPECT_EQ(Inserted(second), wait.Result());
    }
    {
        KeyWait wait;
        Unplug(first);
        EXPECT_EQ(Removed(first), wait.Result());
    }
    {
        KeyWait wait;
        Plug(third);
        EXPECT_EQ(Inserted(third), wait.Result());
    }
    KeyWait wait;
    Unplug(second);
    EXPECT_EQ(Removed(second), wait.Result());
    EXPECT_EQ(third, Given(AskForText(GetPrintNumber)));
}

TEST_F(KeyEvents, WhatHappensBetweenTwoWaitsIsDeliveredInOrder) {
    const std::string key = NewKey();
    const std::string other = NewKey();
    {
        KeyWait wait;
        Plug(key);
        EXPECT_EQ(Inserted(key), wait.Result());
    }
    Unplug(key);
    Plug(other);
    EXPECT_EQ(Removed(key), WaitForKey());
    EXPECT_EQ(Inserted(other), WaitForKey());
}

TEST_F(KeyEvents, APlugAndAnUnplugAtOnceAreBothDelivered) {
    const std::string key = NewPluggedKey();
    KeyWait wait;
    Unplug(key);
    Plug(key);
    EXPECT_EQ(Removed(key), wait.Result());
    EXPECT_EQ(Inserted(key), WaitForKey());
}

TEST_F(KeyEvents, EveryWaitingProcessIsTold) {
    constexpr int kProcesses = 3;
    const std::string key = NewKey();
    std::vector<std::unique_ptr<OtherProcess>> processes;
    for (int i = 0; i < kProcesses; ++i) {
        processes.push_back(std::make_unique<OtherProcess>([&] {
            EXPECT_EQ(Inserted(key), WaitForKey());
            EXPECT_EQ(Removed(key), WaitForKey());
        }));
    }
    ASSERT_TRUE(Eventually([] { return WaitsBegun() == kProcesses; }));
    Plug(key);
    Unplug(key);
    for (const auto& process : processes) {
        EXPECT_EQ(0, process->Join());
    }
}

// The serial number of an eleventh key is not known to a wait.
TEST_F(KeyEvents, AWaitListsTenKeys) {
    constexpr int kKeys = 11;
    std::vector<std::string> keys;
    for (int i = 0; i < kKeys; ++i) {
        keys.push_back(NewPluggedKey());
    }
    EXPECT_EQ("Test", Given(LabelOf(keys.back())));
    {
        KeyWait wait;
        Unplug(keys.back());
        EXPECT_EQ(Removed(""), wait.Result());
    }
    {
        KeyWait wait;
        Unplug(keys[9]);
        EXPECT_EQ(Removed(keys[9]), wait.Result());
    }
    KeyWait wait;
    Plug(keys.back());
    EXPECT_EQ(Inserted(keys.back()), wait.Result());
}

TEST_F(KeyEvents, TwoKeysKeepTheirContentsApart) {
    const std::string alice = NewSigningKey();
    const std::string bob = NewSigningKey();
    EXPECT_EQ(kOk, Checked(SetLabel(alice.c_str(), "Alice")));
    EXPECT_EQ(kOk, Checked(SetLabel(bob.c_str(), "Bob")));
    EXPECT_EQ(kOk, Checked(SetData(alice.c_str(), 0, "A")));
    EXPECT_EQ(Code::kDataItemNotFound, DataOf(bob, 0).code);
    EXPECT_EQ("Alice", Given(LabelOf(alice)));
    EXPECT_EQ("Bob", Given(LabelOf(bob)));
    const std::string signature = FromBase64(Given(Signature(alice, "order")));
    EXPECT_TRUE(Certificate(Given(CertificateOf(alice, kSigning))).Verifies("order", signature));
    EXPECT_FALSE(Certificate(Given(CertificateOf(bob, kSigning))).Verifies("order", signature));
    Unplug(alice);
    EXPECT_EQ(bob, Given(AskForText(GetPrintNumber)));
    EXPECT_EQ(Code::kDeviceRemoved, Signature(alice, "order").code);
    EXPECT_EQ(kOk, Signature(bob, "order").code);
}

}  // namespace
}  // namespace lifecycle
