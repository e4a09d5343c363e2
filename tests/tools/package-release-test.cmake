# Run with -D PROJECT= -D WORK= -P.
include("${PROJECT}/cmake/PackageRelease.cmake")

function(expect text suffix apparmor)
  file(WRITE "${WORK}" "${text}")
  package_release("${WORK}" found_suffix found_apparmor)
  if(NOT found_suffix STREQUAL suffix OR NOT found_apparmor STREQUAL apparmor)
    message(SEND_ERROR "expected '${suffix}' ${apparmor}, found '${found_suffix}' "
      "${found_apparmor}, for\n${text}")
  endif()
endfunction()

expect("PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nVERSION_ID=\"12\"\nID=debian\n" ~deb12 FALSE)
expect("ID=debian\nVERSION_ID=13\nVERSION_CODENAME=trixie\n" ~deb13 FALSE)
expect("ID=debian\nVERSION_CODENAME=forky\n" ~debforky FALSE)
expect("ID=ubuntu\nID_LIKE=debian\nVERSION_ID='24.04'\n" ~ubuntu24.04 TRUE)
expect("VERSION_ID=\"22.04\"\nID=ubuntu\n" ~ubuntu22.04 FALSE)
expect("ID=opensuse-leap\nVERSION_ID=16.0\n" ~opensuse.leap16.0 FALSE)
expect("NAME=Nothing\n" "" FALSE)
file(REMOVE "${WORK}")
package_release("${WORK}" found_suffix found_apparmor)
if(NOT found_suffix STREQUAL "")
  message(SEND_ERROR "a suffix '${found_suffix}' without a file")
endif()
