// The "flash" verb of veltra-cim: sends a firmware image to an adapter's
// "UpdateFlashFromImageBuffer" in pieces and, for an asynchronous update,
// watches the job it started until the job ends.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>

#include "broker.h"

namespace vcim {
namespace cli {

constexpr size_t kFlashDefaultPieceSize = 1024 * 1024;
constexpr size_t kFlashMaxPieceSize = 16 * 1024 * 1024;

struct FlashRequest {
    std::string adapterSerial;
    std::string imageFile;
    bool async = false;
    bool option = false;              // the update option (flags bit 16)
    std::string pieceSize;            // empty: 1 MiB
    unsigned pollMilliseconds = 500;  // between looks at the job
    unsigned watchSeconds = 3600;     // a job still running after this fails the command
    bool json = false;
};

// Where the verb writes: results to `out`; the progress bar to `progress`
// when `showProgress` (the caller sets it when that stream is a terminal).
struct FlashOutput {
    std::ostream& out;
    std::ostream& progress;
    bool showProgress;
};

// Sends the image and, with `async`, waits (at most `watchSeconds`) for
// the job's "JobState" 7 (completed) or 10 (failed) and prints the job. A
// refused piece, a bad image file or piece size, or a failed job give a
// failed status whose message says why (the provider's message where it
// gave one).
Status RunFlash(Broker& broker, const FlashRequest& request, FlashOutput output);

}  // namespace cli
}  // namespace vcim
