#ifndef UKEYCTL_VERBS_H
#define UKEYCTL_VERBS_H

#include "command_line.h"

// The verb families, one file each.
void AddInfoVerbs(cli::Command& app, Session& session);
void AddErrorVerb(cli::Command& app, Session& session);
void AddEventVerbs(cli::Command& app, Session& session);
void AddDeviceVerbs(cli::Command& app, Session& session);
void AddDoctorVerb(cli::Command& app, Session& session);
void AddBundleVerb(cli::Command& app, Session& session);
void AddPinVerbs(cli::Command& app, Session& session);
void AddStorageVerbs(cli::Command& app, Session& session);
void AddRequestVerbs(cli::Command& app, Session& session);
void AddCertificateVerbs(cli::Command& app, Session& session);
void AddSigningVerbs(cli::Command& app, Session& session);
void AddDecryptionVerbs(cli::Command& app, Session& session);
void AddLogVerbs(cli::Command& app, Session& session);
void AddRecordingVerbs(cli::Command& app, Session& session);
void AddCallVerb(cli::Command& app, Session& session);
void AddLintVerbs(cli::Command& app, Session& session);     // after request and cert
void AddRetiredVerbs(cli::Command& app, Session& session);  // after the others

#endif
