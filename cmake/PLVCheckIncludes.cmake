# cmake -DPLV_LAYER_RULES=<file> -P PLVCheckIncludes.cmake
#
# The rules file sets PLV_LAYER (the folder), PLV_LAYER_ALLOWED (the folders it
# may include besides itself) and PLV_LAYER_FILES. Fails, naming every file and
# line, when one of the files includes a library header of a folder it may not
# use, or reaches out of its folder with "../".
cmake_minimum_required(VERSION 3.25)
include(${PLV_LAYER_RULES})
set(errors "")
foreach(file IN LISTS PLV_LAYER_FILES)
  file(STRINGS ${file} lines REGEX "^[ \t]*#[ \t]*include[ \t]*[\"<]")
  foreach(line IN LISTS lines)
    if(line MATCHES "#[ \t]*include[ \t]*[\"<]PLVCommon/([^/\">]+)/")
      set(folder ${CMAKE_MATCH_1})
      if(NOT folder STREQUAL PLV_LAYER AND NOT folder IN_LIST PLV_LAYER_ALLOWED)
        string(APPEND errors "\n  ${file}: ${line}  (${PLV_LAYER}/ may not use ${folder}/)")
      endif()
    elseif(line MATCHES "#[ \t]*include[ \t]*\"[^\"]*\\.\\./")
      string(APPEND errors "\n  ${file}: ${line}  (include other folders as \"PLVCommon/<folder>/<header>\")")
    endif()
  endforeach()
endforeach()
if(errors)
  if(PLV_LAYER_ALLOWED)
    string(REPLACE ";" ", " allowed "${PLV_LAYER_ALLOWED}")
  else()
    set(allowed "nothing else")
  endif()
  message(FATAL_ERROR "Includes across layers that the table in PLVCommon/CMakeLists.txt does not allow "
                      "(${PLV_LAYER}/ may use ${allowed}):${errors}")
endif()
