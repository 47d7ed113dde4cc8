# A target sees its own headers and those of the targets that it links, and no others: an include that points up does
# not compile. Each target's headers are linked into a folder of their own, from which "folder/header.h" is found.
#
# corvid_include_root(<target> <visibility> FOLDER <folder> [HEADERS <header>...]): all that is in the present source
# folder, or the named headers of it only, as "<folder>/...".
function(corvid_include_root target visibility)
  cmake_parse_arguments(ARG "" "FOLDER" "HEADERS" ${ARGN})
  set(root "${PROJECT_BINARY_DIR}/include/${target}")
  file(MAKE_DIRECTORY "${root}")
  if(NOT ARG_HEADERS)
    file(CREATE_LINK "${CMAKE_CURRENT_SOURCE_DIR}" "${root}/${ARG_FOLDER}" SYMBOLIC)
  endif()
  foreach(header IN LISTS ARG_HEADERS)
    get_filename_component(folder "${root}/${ARG_FOLDER}/${header}" DIRECTORY)
    file(MAKE_DIRECTORY "${folder}")
    file(CREATE_LINK "${CMAKE_CURRENT_SOURCE_DIR}/${header}" "${root}/${ARG_FOLDER}/${header}" SYMBOLIC)
  endforeach()
  target_include_directories(${target} ${visibility} "${root}")
endfunction()
