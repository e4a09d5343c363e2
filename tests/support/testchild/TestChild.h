// zorvane-testchild, a small program that misbehaves on cue, and where to find it.
//
// It does what its cues say, one after the other, and then exits with code 0. Cues are separated
// by blanks. They come from the arguments that are no options; if there are none, from the file
// beside the executable that is named like it plus ".cue"; if there is none, from the variable
// ZORVANE_TESTCHILD. The options of a media server (-addr, -db, -plugins and the three tools) take
// a value each. With -addr the program serves HTTP there once its cues are done.
//
// Reports, a line each:      print=TEXT  error=TEXT (on standard error)  ready  descriptors
//                            signals  mask  group  umask  directory  arguments  environment
// Raw output:                print-hex=HEX  trickle=TEXT (byte by byte)
//                            flood=BYTES:BLOCK  flood-error=BYTES:BLOCK  (BYTES may be "endless")
//                            flood-lines=BYTES:LENGTH  (lines of so many bytes)
//                            account=FILE  (the longest write of the floods so far and all their
//                            time, in milliseconds)
// Ends:                      exit=CODE  signal=NUMBER  hang
//                            exit-after=MS:CODE  signal-after=MS:NUMBER  (the cues go on meanwhile)
// SIGTERM:                   ignore-term  on-term=MS:CODE (exits that much later)
//                            farewell=FILE (notes each SIGTERM there as "t" and writes a line, then
//                            3 MB of output, then "e" to the file, and exits with code 0)
// Waiting:                   sleep=MS
// Grandchildren that hang:   fork=hold  fork=drop  (holding the output or not; "grandchild PID")
//                            fork-away=hold  fork-away=drop  fork-away=flood  (in their own
//                            session)  fork-lost=drop  (also without a living parent)
//                            fork-bare=drop  (also without the environment)
// Serving:                   health=MODE, one of ok wrong-nonce spaced bad-utf8 empty 204 500
//                            redirect hang drip endless reset none;  unhealthy-first=REQUESTS
// With -version only the cues that begin with "version" count: version=TEXT prints the text,
// version:CUE does what CUE says.
#pragma once

#include "tests/support/testchild/CueSources.h"

#include <filesystem>

namespace testchild {

[[nodiscard]] inline std::filesystem::path path() {
    return ZORVANE_TESTCHILD_PATH;
}

} // namespace testchild
