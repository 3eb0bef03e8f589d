#ifndef ORVAL_TESTS_WALK_PLAYER_H
#define ORVAL_TESTS_WALK_PLAYER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "functions.h"
#include "scripted_key.h"
#include "step.h"

namespace walk {

// Plays a step's script on the scripted key, and notes at each of its calls what the call's text
// does not tell: whose memory the pointers are, and what G_LastError holds.
class Player final {
 public:
    Player();
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    void Load(const Step& step, const Client& client);

    std::vector<std::string> TakeNotes() { return std::move(notes_); }
    std::vector<std::string> TakePauses() { return std::move(pauses_); }

 private:
    // What an entry does with its reply besides returning the code.
    enum class Kind { kCodeOnly, kWritesText, kWritesInfo, kHandsOver, kSpoilsItsCopy };

    // The arguments of one call that a reply may be written to.
    struct Outputs {
        char* first_text = nullptr;
        char* last_text = nullptr;
        char** handed = nullptr;
        void* info = nullptr;
        int32_t* length = nullptr;
    };

    void ScriptBackend();
    void ScriptToken();
    template <typename... Parameters>
    void Script(scripted::Entry<int32_t(Parameters...)>& entry, const char* name);
    void Script(scripted::Entry<const char*(int64_t)>& entry, const char* name);
    int32_t Act(const char* name, const Outputs& outputs);
    static Kind KindOf(const std::string& name);

    Reply NextReply();
    uint32_t Wait(VEXA_EVENT_INFO* event);
    int Sleep(const timespec* request, timespec* remainder);

    std::string Whose(const void* pointer) const;
    template <typename Parameter>
    std::string WhoseIfPointer(const Parameter& parameter) const;
    template <typename Parameter>
    static void Find(Outputs& outputs, Parameter& parameter);
    void Note(const char* name, const std::string& pointers);

    const Step* step_ = nullptr;
    Client client_{};
    size_t next_reply_ = 0;
    size_t next_device_ = 0;
    size_t next_wait_ = 0;
    walk::Wait wait_;  // the one whose pause is running
    std::string message_;
    std::vector<std::string> notes_;
    std::vector<std::string> pauses_;
};

}  // namespace walk

#endif
