#include "names_variant.h"

const NamesVariant kNamesVariant = {ORVAL_BACKEND_IS_SYMBOLIC, ORVAL_CLIENT_LINKS,
                                    ORVAL_CLIENT_EXPORTS_NAMES};
