#ifndef UKEYCTL_EXAMINATION_H
#define UKEYCTL_EXAMINATION_H

#include <string>

#include "cli/command.h"
#include "doctor/doctor.h"
#include "session.h"

// What a verb that has the doctor look may be told.
struct ExaminationOptions {
    std::string client;
    double limit = 10;
};
void AddExaminationOptions(cli::Command& verb, ExaminationOptions& options);

doctor::Question QuestionOf(const Session& session, const ExaminationOptions& options);

#endif
