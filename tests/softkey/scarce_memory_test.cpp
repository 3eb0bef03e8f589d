// Memory that runs out while the software key reads something, of which OpenSSL remembers what it
// has found: each reading is of one that nobody has read. tests/softkey/lifecycle has the same
// under a client.
#include <gtest/gtest.h>

#include <functional>
#include <new>

#include "base/encoding.h"
#include "base/error.h"
#include "base/settings.h"
#include "crypto/certificate_texts.h"
#include "crypto/key_pair.h"
#include "crypto/pkcs7.h"
#include "crypto/sealing.h"
#include "failing_heap.h"
#include "softkey_test.h"

namespace softkey::testing {
namespace {

constexpr size_t kNameLimit = 64;

class ScarceMemoryTest : public EntriesTest {
 protected:
    void SetUp() override {
        if (!failing_heap::IsWhole()) {
            GTEST_SKIP() << "the sanitizer's own heap serves OpenSSL";
        }
        GiveDualCertificates();
        certificate_ = CertificateDer(CertificatePem(2));
    }

    // Whether it was done; if not, it was memory and nothing else that is told.
    static bool IsDone(const std::function<void()>& work, failing_heap::Failing failing) {
        bool is_done = false;
        failing_heap::Begin(failing_heap::kArrays | failing_heap::kOthers, failing);
        try {
            work();
            is_done = true;
        } catch (const Error& error) {
            const failing_heap::Pause pause;
            EXPECT_TRUE(error.code() == Code::kMemory || error.code() == Code::kFail)
                << ::testing::PrintToString(error.code()) << error.what();
        } catch (const std::bad_alloc&) {
        }
        failing_heap::End();
        return is_done;
    }

    // Refuses each request of the work, alone and with all behind it; `prepare` is undisturbed.
    static void RefuseEach(
        const std::function<void()>& prepare, const std::function<void()>& work,
        const std::function<void()>& judge = [] {}) {
        bool failed = true;
        for (size_t request = 1; failed; ++request) {
            for (const bool all_behind : {false, true}) {
                SCOPED_TRACE(::testing::Message()
                             << "request " << request << (all_behind ? " and all behind it" : ""));
                const ssl::ErrorMark mark;
                prepare();
                const bool is_done = IsDone(work, {request, all_behind});
                failed = failing_heap::HasFailed();
                EXPECT_TRUE(is_done || failed);
                if (is_done) {
                    judge();
                }
            }
        }
        EXPECT_GT(failing_heap::Requests(), 0U);
    }

    Bytes certificate_;
};

TEST_F(ScarceMemoryTest, WhatIsToldOfACertificateIsWholeOrRefused) {
    const std::string whole = CertificateInfoText(ParseCertificate(certificate_).get(), kNameLimit);
    ASSERT_NE(std::string::npos, whole.find("\nUsage: keyEncipherment"));
    ssl::Certificate certificate;
    std::string text;
    RefuseEach([&] { certificate = ParseCertificate(certificate_); },
               [&] { text = CertificateInfoText(certificate.get(), kNameLimit); },
               [&] { EXPECT_EQ(whole, text); });
}

TEST_F(ScarceMemoryTest, ASoundContainerIsNotCalledMalformed) {
    const std::string container = ToBase64(CertificatesOnly({certificate_}, Pkcs7Names::kGm));
    size_t keys = 0;
    RefuseEach([&] { keys = 0; },
               [&] {
                   for (const ssl::Certificate& certificate : CertificatesOf(container)) {
                       keys += ssl::KeyOf(certificate.get()) == nullptr ? 0U : 1U;
                   }
               },
               [&] { EXPECT_EQ(1U, keys); });
}

TEST_F(ScarceMemoryTest, ASoundKeyIsNotCalledWrong) {
    const KeyPair pair = KeyPair::Generate(KeyType::kSm2);
    const SecretBytes secret = pair.Private();
    const Bytes open = pair.Public();
    RefuseEach([] {}, [&] { KeyPair::FromPrivate(secret); });
    RefuseEach([] {}, [&] { KeyPair::FromPublic(open); });
}

TEST_F(ScarceMemoryTest, ASoundPinIsNotCalledDamaged) {
    const SecretBytes pin{'1', '2', '3', '4', '5', '6'};
    const PinDerivation derivation = PinDerivation::Cheap();
    RefuseEach([] {}, [&] { DeriveFromPin(pin, derivation); });
}

TEST_F(ScarceMemoryTest, AKnownCharacterSetIsNotCalledUnknown) {
    SelectCharset("GB18030");
    std::string text;
    RefuseEach([] {}, [&] { text = ToClient("测试"); },
               [&] { EXPECT_EQ("\xB2\xE2\xCA\xD4", text); });
}

}  // namespace
}  // namespace softkey::testing
