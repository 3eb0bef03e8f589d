#include <memory>

#include "api_test.h"
#include "huge_text.h"
#include "scarce_memory.h"

namespace {

TEST(GetLastErrCode, CopiesTheLastError) {
    G_LastError = -404;
    int32_t code = 0;
    GetLastErrCode(&code);
    EXPECT_EQ(code, -404);
    EXPECT_EQ(G_LastError, -404);
}

TEST(GetLastErrCode, NullPointerBecomesTheLastError) {
    G_LastError = 5;
    GetLastErrCode(nullptr);
    EXPECT_EQ(G_LastError, -401);
}

TEST(GetLastErrCode, NeitherBindsNorLogs) {
    int32_t code = 5;
    GetLastErrCode(&code);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(g_initFlag, 0);
    EXPECT_FALSE(scripted::BackendIsLoaded());
    EXPECT_EQ(LogText(), "");
}

TEST(GetLastErrCode, TellsTheOutcomeOfTheLatestCall) {
    Key().VerifyPIN.Returns(0x0A000002);
    VerifyPIN("SN0123456789");
    int32_t code = 0;
    GetLastErrCode(&code);
    EXPECT_EQ(code, 0x0A000002);
}

// GetErrorMsg leaves the last error alone, so each test starts with one to lose.
class GetErrorMsgTest : public testing::Test {
 protected:
    GetErrorMsgTest() {
        Initialize();
        G_LastError = 77;
    }
};

TEST_F(GetErrorMsgTest, MessagesMayBeLongerThanTheBound) {
    const std::string long_message(1000, 'm');
    Key().X_ErrorConvert_UOS.Returns(long_message.c_str());
    Canary message(1001);
    int32_t length = 1001;
    EXPECT_EQ(GetErrorMsg(5, message, &length), 0);
    EXPECT_EQ(length, 1001);
    EXPECT_TRUE(message.Holds(long_message + '\0'));
}

TEST_F(GetErrorMsgTest, NullMessageCountsAsEmpty) {
    Key().X_ErrorConvert_UOS.Returns(nullptr);
    Canary message(16);
    int32_t length = 16;
    EXPECT_EQ(GetErrorMsg(5, message, &length), 0);
    EXPECT_EQ(length, 1);
    EXPECT_TRUE(message.Holds("\0"s));
    EXPECT_EQ(G_LastError, 77);
}

TEST_F(GetErrorMsgTest, NullMessageStillNeedsRoomForATerminator) {
    Key().X_ErrorConvert_UOS.Returns(nullptr);
    Canary message(16);
    int32_t length = 0;
    EXPECT_EQ(GetErrorMsg(5, message, &length), -404);
    EXPECT_EQ(length, 1);
    EXPECT_TRUE(message.Untouched());
    EXPECT_EQ(G_LastError, -404);
}

// Memory for a text of the largest length that takes little: only its beginning is kept.
class FoldedHeap final : public QRV::IQrvMemMgr {
 public:
    void* Allocate(size_t size) override {
        block_ = std::make_unique<FoldedMemory>(size + FoldedMemory::kPiece, FoldedMemory::kPiece,
                                                size / FoldedMemory::kPiece * FoldedMemory::kPiece);
        return block_->Start();
    }
    void Free(void* /*block*/) override { block_.reset(); }
    void* Reallocate(void* /*block*/, size_t /*size*/) override { return nullptr; }
    size_t GetSize(void* /*block*/) override { return 0; }

 private:
    using FoldedMemory = scripted::FoldedMemory;
    std::unique_ptr<FoldedMemory> block_;
};

TEST_F(GetErrorMsgTest, LongestMessageWrapsWhenTheTerminatorIsAddedAndFitsNowhere) {
    const scripted::HugeText text(2 * scripted::kOneGibibyte);
    Key().X_ErrorConvert_UOS.Returns(text.Text() + 1);
    FoldedHeap heap;
    QRV::CQrvBufferMgr manager(&heap);
    QRV::IQrvBufferMgr* const usual_manager = *scripted::DefaultManager();
    *scripted::DefaultManager() = &manager;
    Canary message(200);
    int32_t length = INT32_MAX;
    EXPECT_EQ(GetErrorMsg(5, message, &length), -404);
    EXPECT_EQ(length, INT32_MIN);
    EXPECT_TRUE(message.Untouched());
    *scripted::DefaultManager() = usual_manager;
}

TEST(GetErrorMsgUninitialized, BindsFirst) {
    Key().X_ErrorConvert_UOS.Returns("wrong PIN");
    Canary message(200);
    int32_t length = 200;
    EXPECT_EQ(GetErrorMsg(2, message, &length), 0);
    EXPECT_EQ(g_initFlag, 1);
    EXPECT_EQ(length, 10);
    EXPECT_EQ(G_LastError, 0);
}

}  // namespace
