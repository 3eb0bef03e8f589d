#ifndef SOFTKEY_TOOLS_SCENARIO_WORLD_H
#define SOFTKEY_TOOLS_SCENARIO_WORLD_H

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "scenario/scenario.h"
#include "tools/world_folder.h"

namespace softkey::tools {

// What became of a step.
struct StepReport {
    explicit StepReport(const scenario::Step& one) : step(&one) {}

    const scenario::Step* step;
    bool happened = false;
    int64_t times = 0;
    std::string why_not;  // empty where it happened
};

// A scenario's keys, plugs, orders and dialogs in a home of their own, which is this process's home
// while the world is there. Gone with it, unless a folder was named.
class World {
 public:
    World(const scenario::Scenario& scenario, const std::string& folder);

    // What the client finds of the world beside its keys, e.g. their serial numbers, has been put
    // into the environment.
    std::string ClientsTmp() const { return In("tmp"); }

    // Does what is due since the client began, or what its calls are waiting for.
    void Look(std::chrono::milliseconds since_begin);

    std::vector<StepReport> Steps() const;
    // The dialogs' answers that nobody asked for, and how many dialogs came beyond the last one.
    std::vector<scenario::DialogAnswer> UnaskedDialogs() const;
    size_t UnforeseenDialogs() const;

 private:
    void MakeFolders();
    void MakeKeys();
    void MakeKey(const scenario::Key& key);
    void Enroll(const scenario::Key& key, const std::string& serial);
    void WriteDialogs() const;
    void TellClient() const;
    PinSource SourceOf(const scenario::Key& key) const;
    const scenario::Key& KeyNamed(const std::string& name) const;
    void Do(size_t index);
    void Move(const scenario::Step& step) const;
    void OrderFor(const scenario::Step& step) const;
    std::string In(const std::string& name) const { return folder_.Path() + "/" + name; }
    std::string PinPath(const std::string& serial) const { return In("pin-" + serial); }

    const scenario::Scenario& scenario_;
    WorldFolder folder_;
    std::map<std::string, std::string> serials_;  // by the scenario's names
    std::vector<StepReport> steps_;
    std::vector<bool> done_;  // of each step, whether its time has come
};

}  // namespace softkey::tools

#endif
