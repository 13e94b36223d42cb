# SPDX-License-Identifier: GPL-2.0-or-later
# Writes the man pages from the tool's own --help, so that they never drift
# from it: glimmerstroll.1, and glimmerstroll-COMMAND.1 for every subcommand
# that `glimmerstroll --help` lists (a new subcommand gets its page with no
# change here). Run at build time:
#   cmake -DTOOL=path/to/glimmerstroll -DOUT=man-folder -DVERSION=x.y.z -P ManPages.cmake
foreach(var TOOL OUT VERSION)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "ManPages.cmake needs -D${var}=...")
  endif()
endforeach()
find_program(HELP2MAN help2man REQUIRED)

execute_process(COMMAND ${TOOL} --help OUTPUT_VARIABLE help RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${TOOL} --help failed (${status})")
endif()

# The "Subcommands:" section: one "  name   description" line each, up to the
# next blank line.
string(REPLACE ";" "," help "${help}")
string(REPLACE "\n" ";" lines "${help}")
set(names "")
set(inside FALSE)
foreach(line IN LISTS lines)
  if(line MATCHES "^[Ss]ubcommands:")
    set(inside TRUE)
  elseif(inside AND line MATCHES "^  +([a-z][a-z0-9-]*)  +(.*)$")
    list(APPEND names ${CMAKE_MATCH_1})
    set(about_${CMAKE_MATCH_1} "${CMAKE_MATCH_2}")
  elseif(inside)
    break()
  endif()
endforeach()
if(NOT names)
  message(FATAL_ERROR "no subcommands found in ${TOOL} --help")
endif()

# Pages of subcommands that are gone must not be installed.
file(GLOB old ${OUT}/*.1)
if(old)
  file(REMOVE ${old})
endif()
file(MAKE_DIRECTORY ${OUT}/run)

set(see_also "glimmerstroll(1)")
foreach(name IN LISTS names)
  string(APPEND see_also ", glimmerstroll-${name}(1)")
endforeach()
file(WRITE ${OUT}/run/see-also.h2m "[SEE ALSO]\n${see_also}\n\nThe README in /usr/share/doc/glimmerstroll (or the source tree) covers the plug-ins, the effect and the editor.\n")

# help2man names a page after the program it runs, so each subcommand is run
# through a small script named glimmerstroll-COMMAND.
function(write_page program name about)
  execute_process(
    COMMAND ${HELP2MAN} --no-info --no-discard-stderr --section=1
            --version-string=${VERSION} --source=Glimmerstroll --manual=Glimmerstroll
            --name=${about} --include=${OUT}/run/see-also.h2m
            --output=${OUT}/${name}.1 ${program}
    RESULT_VARIABLE status ERROR_VARIABLE errors)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "help2man ${name}: ${errors}")
  endif()
endfunction()

write_page(${TOOL} glimmerstroll "a virtual camera over still pictures (pans, zooms, rolls)")
foreach(name IN LISTS names)
  set(wrapper ${OUT}/run/glimmerstroll-${name})
  file(WRITE ${wrapper} "#!/bin/sh\nexec '${TOOL}' ${name} \"$@\"\n")
  file(CHMOD ${wrapper} PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  write_page(${wrapper} glimmerstroll-${name} "${about_${name}}")
endforeach()
file(WRITE ${OUT}/pages.txt "${names}\n")
