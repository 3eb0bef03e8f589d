#ifndef ORVAL_API_MEDIA_ID_H
#define ORVAL_API_MEDIA_ID_H

#include <string>

#include "maker/token.h"

// Replaces strMediaId with the serial number in a device record: at most 16 characters, ending at
// the first NUL within them.
void X_getMediaId(std::string& strMediaId, const _S_DEV_CONFIG* pDevConfig);

#endif
