#include "imaging/codecs/exif.h"
