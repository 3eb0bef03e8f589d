// Any sequence of operations leaves four strings, which share their blocks as they please, with the
// values that the same operations give four plain strings.
//
// The input is read as operations: a byte for the operation, one for the string it works on, and
// what it needs further.
#include <algorithm>
#include <array>
#include <cctype>

#include "fuzz_target.h"
#include "qrv/exception.h"
#include "qrv/string.h"

namespace {

using fuzz::Input;
using fuzz::Require;

constexpr size_t kStrings = 4;
constexpr size_t kLongestText = 40;
// Doubling again and again would take all memory for nothing new.
constexpr size_t kLongestString = 5000;

struct Pair {
    QRV::CString string;
    std::string plain;
};

class Operations final {
 public:
    explicit Operations(Input& input) : input_(input) {}

    void Run() {
        while (!input_.IsEmpty()) {
            Step();
            for (const Pair& pair : pairs_) {
                RequireEqual(pair.string, pair.plain);
            }
        }
    }

 private:
    using Operation = void (Operations::*)(Pair&);

    static void RequireEqual(const QRV::CString& string, const std::string& plain) {
        const auto length = static_cast<size_t>(string.GetLength());
        Require(std::string(string.GetString(), length) == plain, "a string holds its plain value");
        Require(string.GetString()[length] == '\0', "a string is terminated");
        Require(string.IsEmpty() == plain.empty(), "a string knows whether it is empty");
    }

    void Step() {
        static constexpr Operation kOperations[] = {
            &Operations::AssignText, &Operations::AssignBytes,  &Operations::AssignOther,
            &Operations::AppendText, &Operations::AppendOther,  &Operations::TakeMiddle,
            &Operations::Replace,    &Operations::Tokenize,     &Operations::Trim,
            &Operations::MakeUpper,  &Operations::Find,         &Operations::ReadCharacter,
            &Operations::SetLength,  &Operations::WriteInPlace, &Operations::FillWithZeros,
        };
        const Operation operation = kOperations[input_.TakeByte() % std::size(kOperations)];
        (this->*operation)(AnyPair());
    }

    Pair& AnyPair() { return pairs_[input_.TakeByte() % kStrings]; }
    int32_t AnyIndex() { return static_cast<int8_t>(input_.TakeByte()); }
    std::string AnyBytes() { return input_.TakeText(input_.TakeByte() % kLongestText); }
    std::string AnyText() { return AnyBytes().c_str(); }

    void AssignText(Pair& pair) {
        pair.plain = AnyText();
        pair.string = QRV::CString(pair.plain.c_str());
    }

    void AssignBytes(Pair& pair) {
        pair.plain = AnyBytes();
        pair.string = QRV::CString(pair.plain.data(), static_cast<int32_t>(pair.plain.size()));
    }

    void AssignOther(Pair& pair) {
        const Pair& other = AnyPair();
        pair.string = other.string;
        pair.plain = other.plain;
    }

    void AppendText(Pair& pair) {
        const std::string text = AnyText();
        pair.string += text.c_str();
        pair.plain += text;
    }

    void AppendOther(Pair& pair) {
        const Pair& other = AnyPair();
        if (pair.plain.size() + other.plain.size() <= kLongestString) {
            pair.string += other.string;
            pair.plain += other.plain;
        }
    }

    void TakeMiddle(Pair& pair) {
        const Pair& other = AnyPair();
        const int32_t first = AnyIndex();
        const int32_t count = AnyIndex();
        pair.string = other.string.Mid(first, count);
        const auto from = static_cast<size_t>(std::max(first, 0));
        pair.plain = from > other.plain.size()
                         ? ""
                         : other.plain.substr(from, static_cast<size_t>(std::max(count, 0)));
    }

    void Replace(Pair& pair) {
        const std::string from = AnyText();
        const std::string to = AnyText();
        int32_t count = 0;
        std::string replaced;
        size_t at = 0;
        for (size_t found = from.empty() ? std::string::npos : pair.plain.find(from);
             found != std::string::npos; found = pair.plain.find(from, at)) {
            replaced += pair.plain.substr(at, found - at) + to;
            at = found + from.size();
            ++count;
        }
        replaced += pair.plain.substr(at);
        if (replaced.size() > kLongestString) {
            return;
        }
        Require(pair.string.Replace(from.c_str(), to.c_str()) == count,
                "the replacements are counted");
        pair.plain = replaced;
    }

    void Tokenize(Pair& pair) {
        const Pair& other = AnyPair();
        const std::string delimiters = AnyText();
        int32_t position = std::max(AnyIndex(), 0);
        const size_t start = other.plain.find_first_not_of(delimiters, size_t(position));
        const size_t end =
            std::min(other.plain.find_first_of(delimiters, start), other.plain.size());
        const bool none = start == std::string::npos;
        pair.plain = none ? "" : std::string(other.plain, start, end - start);
        pair.string = other.string.Tokenize(delimiters.c_str(), position);
        Require(position == (none ? -1 : static_cast<int32_t>(end) + 1),
                "the position moves behind the token and its delimiter");
    }

    void Trim(Pair& pair) {
        static const std::string spaces = " \t\n\v\f\r";
        pair.string.TrimSpace();
        pair.plain.erase(pair.plain.find_last_not_of(spaces) + 1);
        pair.plain.erase(0, pair.plain.find_first_not_of(spaces));
    }

    void MakeUpper(Pair& pair) {
        pair.string.MakeUpper();
        for (char& c : pair.plain) {
            c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        }
    }

    void Find(Pair& pair) {
        const std::string text = AnyText();
        const int32_t start = AnyIndex();
        const size_t found =
            start < 0 ? std::string::npos : pair.plain.find(text, static_cast<size_t>(start));
        Require(pair.string.Find(text.c_str(), start) ==
                    (found == std::string::npos ? -1 : static_cast<int32_t>(found)),
                "a text is found where it is");
    }

    void ReadCharacter(Pair& pair) {
        const int32_t index = AnyIndex();
        const bool inside = index >= 0 && static_cast<size_t>(index) <= pair.plain.size();
        try {
            const char character = pair.string.GetAt(index);
            Require(inside, "an index outside the string is refused");
            Require(character == pair.plain.c_str()[index], "a character is the plain one");
        } catch (const QRV::CQrvException& exception) {
            Require(!inside && exception.Code() == QRV::kInvalidArgument,
                    "an index inside the string is not refused");
        }
    }

    void SetLength(Pair& pair) {
        const size_t length = input_.TakeByte() % (pair.plain.size() + 1);
        pair.string.GetBuffer(pair.string.GetLength());
        pair.string.SetLength(static_cast<int32_t>(length));
        pair.plain.resize(length);
    }

    void WriteInPlace(Pair& pair) {
        const std::string text = AnyBytes();
        const auto length = static_cast<int32_t>(text.size());
        std::copy(text.begin(), text.end(), pair.string.GetBuffer(length));
        pair.string.SetLength(length);
        pair.plain = text;
    }

    void FillWithZeros(Pair& pair) {
        const size_t length = pair.plain.size() + input_.TakeByte();
        if (length <= kLongestString) {
            pair.string.GetBuffer(static_cast<int32_t>(length), QRV::kZeroFill);
            pair.string.SetLength(static_cast<int32_t>(length));
            pair.plain.resize(length, '\0');
        }
    }

    Input& input_;
    std::array<Pair, kStrings> pairs_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    Operations(input).Run();
    return 0;
}
