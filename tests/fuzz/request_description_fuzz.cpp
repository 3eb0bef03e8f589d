// Any request description, through both request calls: a size query asks the key for what a plain
// reading of the description says, and the fetch gets what was made, within its capacity.
#include <string>

#include "fuzz_target.h"
#include "product.h"

namespace {

constexpr const char* kSerialNumber = "SN0123456789";

// Of the key's answers every second one is a request, where a PIN is asked for in between. Each is
// another, so that none can stand for another.
void AnswerWithRequests(walk::Step& step) {
    for (int i = 0; i < 12; ++i) {
        walk::Reply reply;
        reply.text = std::string(static_cast<size_t>(i), 'R');
        step.replies.push_back(reply);
    }
}

walk::Step Request(const char* function, int64_t mode, const std::string& description) {
    walk::Step step = fuzz::CallOf(function);
    step.in.texts[0] = kSerialNumber;
    step.in.texts[1] = description;
    step.in.numbers[0] = mode;
    step.in.length = 0;
    AnswerWithRequests(step);
    return step;
}

walk::Step Fetch(walk::Step step, size_t capacity) {
    // The terminator may stand behind the capacity, and nothing else.
    step.in.buffer = std::string(capacity + 1, '#') + '\0';
    step.in.length = static_cast<int32_t>(capacity);
    return step;
}

void AskAndFetch(walk::Model& model, const walk::Step& query) {
    fuzz::TakeStep(model, query);
    const size_t length = model.RememberedLength();
    if (length > 0) {
        fuzz::TakeStep(model, Fetch(query, length - 1));
    }
    fuzz::TakeStep(model, Fetch(query, length));
    // Made afresh: nothing is remembered any more.
    fuzz::TakeStep(model, Fetch(query, 200));
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    fuzz::PrepareProduct();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // A description is a C text: it ends at the first NUL.
    const std::string text = std::string(reinterpret_cast<const char*>(data), size).c_str();
    fuzz::BeginAnew();
    walk::Model model;
    AskAndFetch(model, Request("GenerateCertRequest", 0, text));
    AskAndFetch(model, Request("Batch_InitAndGenerateCertRequest", 0, text));
    AskAndFetch(model, Request("Batch_InitAndGenerateCertRequest", 1, text));
    return 0;
}
