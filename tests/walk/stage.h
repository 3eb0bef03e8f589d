#ifndef ORVAL_TESTS_WALK_STAGE_H
#define ORVAL_TESTS_WALK_STAGE_H

#include "player.h"
#include "step.h"

namespace walk {

// Gives steps to the product and tells what came of them.
class Stage final {
 public:
    // What an earlier sequence did to the file system is undone.
    Stage();

    Outcome Run(const Step& step);

 private:
    void Arrange(const Step& step);
    void Clear();

    Player player_;
};

}  // namespace walk

#endif
