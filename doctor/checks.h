#ifndef DOCTOR_CHECKS_H
#define DOCTOR_CHECKS_H

#include <ctime>

#include "doctor/examination.h"

// The checks, a file for each group; doctor.cpp has the table.
namespace doctor {

// installation.cpp
Finding LookAtDirectory();
Finding LookAtExpectedFiles(const Examination& examination);

// product.cpp
Finding LookAtProduct(const Examination& examination);
Finding LookAtOtherCopies(const Examination& examination);
Finding LookAtTokenInUse(const Examination& examination);
Finding LookAtClient(const Examination& examination);

// log.cpp
Finding LookAtLogFile(const LogFacts& log);
Finding LookAtLogOwner(const LogFacts& log);
Finding LookAtLogSize(const LogFacts& log);
Finding LookAtLogSecrets(const LogFacts& log);
Finding LookAtTmp();

// key.cpp
Finding LookAtPlugged(const Examination& examination);
Finding LookAtLabels(const Examination& examination);
Finding LookAtPins(const Examination& examination);
Finding LookAtCertificates(const Examination& examination);

// machine.cpp
Finding LookAtClock(std::time_t now);
Finding LookAtZone();
Finding LookAtNamespaces(const Examination& examination);
Finding LookAtStore(const Examination& examination);

}  // namespace doctor

#endif
