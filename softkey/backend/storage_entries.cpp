// Entries about initialisation, the label and the data items.
#include "backend/arguments.h"
#include "backend/entries.h"
#include "base/settings.h"
#include "key/device.h"

namespace softkey::backend {

int32_t CustInitCard(const char* serial_number, int32_t flag, void* parameter, int32_t zero) {
    return Answer("CustInitCard", serial_number, [&] {
        Require(flag == 0 || flag == 1, Code::kSelector, "the flag is 0 or 1");
        softkey::RequireConstant(zero == 0);
        std::optional<std::string> label;
        if (parameter != nullptr) {
            label = softkey::FromClient(static_cast<const char*>(parameter));
        }
        // Requests follow flag 1 without another PIN.
        Device::Plugged(serial_number)
            .Initialize(label, flag == 1 ? Device::AfterInitialize::kVerified
                                         : Device::AfterInitialize::kUnverified);
    });
}

int32_t GetLabel(char* serial_number, char label[maker::kLabelRoom]) {
    return Answer("GetLabel", serial_number, [&] {
        softkey::CopyToFixed(softkey::ToClient(Device::Plugged(serial_number).Store().Label()),
                             label, maker::kLabelRoom);
    });
}

int32_t SetLabel(const char* first, const char* second) {
    return Answer("SetLabel", first, [&] {
        Device::Plugged(first).Store().SetLabel(softkey::FromClient(softkey::RequireText(second)));
    });
}

int32_t SetData(const char* serial_number, int32_t index, const char* data) {
    return Answer("SetData", serial_number, [&] {
        Device::Plugged(serial_number).Store().SetData(index, softkey::RequireText(data));
    });
}

int32_t GetData(const char* serial_number, int32_t index, char data[maker::kDataRoom]) {
    return Answer("GetData", serial_number, [&] {
        const std::optional<std::string> text = Device::Plugged(serial_number).Store().Data(index);
        Require(text.has_value(), Code::kDataItemNotFound, "the data item was never written");
        softkey::CopyToFixed(*text, data, maker::kDataRoom);
    });
}

}  // namespace softkey::backend
