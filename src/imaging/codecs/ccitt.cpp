#include "imaging/codecs/ccitt.h"
