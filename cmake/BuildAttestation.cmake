# Writes the receipt of a build ("build-attestation@1"): which version, build and commit the bundle
# was made from, and when. An existing receipt of the same identity is kept, so that a build in
# which nothing changed changes nothing.
# Run with -D OUTPUT= -D APP= -D VERSION= -D BUILD= -D SOURCE_DIR= -P.
#
# SOURCE_DATE_EPOCH, when set, is the time of the receipt. The commit is "unknown" outside of a
# repository, and has "-modified" behind it when tracked files differ from it.
set(commit "unknown")
find_program(GIT git)
if(GIT)
  execute_process(COMMAND "${GIT}" -C "${SOURCE_DIR}" rev-parse HEAD
    RESULT_VARIABLE failed OUTPUT_VARIABLE head OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  if(NOT failed)
    set(commit "${head}")
    execute_process(COMMAND "${GIT}" -C "${SOURCE_DIR}" diff-index --quiet HEAD --
      RESULT_VARIABLE modified OUTPUT_QUIET ERROR_QUIET)
    if(modified)
      string(APPEND commit "-modified")
    endif()
  endif()
endif()

set(identity "  \"app\": \"${APP}\",\n  \"build\": \"${BUILD}\",\n")
set(source "  \"sourceCommit\": \"${commit}\",\n  \"version\": \"${VERSION}\"\n")
if(EXISTS "${OUTPUT}")
  file(READ "${OUTPUT}" existing)
  string(FIND "${existing}" "${identity}" sameIdentity)
  string(FIND "${existing}" "${source}" sameSource)
  if(NOT sameIdentity EQUAL -1 AND NOT sameSource EQUAL -1)
    return()
  endif()
endif()
string(TIMESTAMP now "%Y-%m-%dT%H:%M:%S.000Z" UTC)
file(WRITE "${OUTPUT}"
  "{\n${identity}  \"generatedAt\": \"${now}\",\n"
  "  \"schemaVersion\": \"build-attestation@1\",\n${source}}\n")
