#ifndef UKEYCTL_VERBS_H
#define UKEYCTL_VERBS_H

#include "command_line.h"

// The verb families, one file each.
void AddInfoVerbs(CLI::App& app, Session& session);
void AddErrorVerb(CLI::App& app, Session& session);
void AddDeviceVerbs(CLI::App& app, Session& session);
void AddPinVerbs(CLI::App& app, Session& session);
void AddStorageVerbs(CLI::App& app, Session& session);
void AddRequestVerbs(CLI::App& app, Session& session);
void AddCertificateVerbs(CLI::App& app, Session& session);
void AddSigningVerbs(CLI::App& app, Session& session);
void AddDecryptionVerbs(CLI::App& app, Session& session);
void AddCallVerb(CLI::App& app, Session& session);
void AddRetiredVerbs(CLI::App& app, Session& session);  // after the others

#endif
