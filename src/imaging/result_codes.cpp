#include "imaging/result_codes.h"

namespace quillmark::imaging {
namespace {

constexpr int kGeneralFailure = 20'000;
constexpr int kNoMemory = 20'001;
constexpr int kWriting = 20'005;
constexpr int kReading = 20'007;
constexpr int kInvalidFormat = 20'009;
constexpr int kFileNotFound = 20'010;
constexpr int kInvalidSides = 20'011;
constexpr int kSubTypeNotSupported = 20'012;
constexpr int kInvalidParameter = 20'013;
constexpr int kCannotOpen = 20'014;
constexpr int kNotAvailableForFormat = 20'016;
constexpr int kStopped = 20'029;
constexpr int kNoStamp = 20'065;

}  // namespace

int result_code(const Error& error, Transfer transfer) {
    const bool writing = transfer == Transfer::writing;
    switch (error.fault) {
        case Fault::truncated: return kReading;
        // Data that contradict their format and data of no format at all are the same to the user.
        case Fault::malformed:
        case Fault::unknown_format: return kInvalidFormat;
        // Read: a variant that we do not know. Written: a depth or option that the format does not have.
        case Fault::unsupported: return writing ? kNotAvailableForFormat : kSubTypeNotSupported;
        case Fault::too_large: return kInvalidSides;
        case Fault::out_of_memory: return kNoMemory;
        case Fault::not_found: return kFileNotFound;
        case Fault::cannot_open: return kCannotOpen;
        case Fault::io: return writing ? kWriting : kReading;
        case Fault::no_stamp: return kNoStamp;
        case Fault::no_page: return kNotAvailableForFormat;
        case Fault::bad_parameter: return kInvalidParameter;
        case Fault::cancelled: return kStopped;
    }
    return kGeneralFailure;
}

}  // namespace quillmark::imaging
