# Helpers that lay out bundle directories:
#
#   <Name>.<ext>/Contents/Info.plist
#   <Name>.<ext>/Contents/Linux/lib<Name>.so      (loadable bundles only)
#   <Name>.<ext>/Contents/Resources/...            (.ui files, images, Localizable_<lang>.qm)
#
# Installed with the PLVCommon package, so module bundles can be built outside
# this source tree with find_package(PLVCommon).

include_guard(GLOBAL)

function(_plv_xml_escape out value)
  string(REPLACE "&" "&amp;" value "${value}")
  string(REPLACE "<" "&lt;" value "${value}")
  string(REPLACE ">" "&gt;" value "${value}")
  set(${out} "${value}" PARENT_SCOPE)
endfunction()

# Appends "<key>k</key><tag>v</tag>" for each k v pair of the list.
function(_plv_plist_entries out tag pairs)
  set(body "${${out}}")
  list(LENGTH pairs n)
  if(n GREATER 0)
    math(EXPR last "${n} - 1")
    foreach(i RANGE 0 ${last} 2)
      math(EXPR j "${i} + 1")
      list(GET pairs ${i} key)
      list(GET pairs ${j} value)
      _plv_xml_escape(key "${key}")
      _plv_xml_escape(value "${value}")
      string(APPEND body "\t<key>${key}</key>\n\t<${tag}>${value}</${tag}>\n")
    endforeach()
  endif()
  set(${out} "${body}" PARENT_SCOPE)
endfunction()

# plv_write_info_plist(<file> STRINGS key value ... INTEGERS key value ...)
function(plv_write_info_plist file)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "STRINGS;INTEGERS")
  set(body "")
  _plv_plist_entries(body string "${ARG_STRINGS}")
  _plv_plist_entries(body integer "${ARG_INTEGERS}")
  set(content "<?xml version=\"1.0\" encoding=\"UTF-8\"?>
<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">
<plist version=\"1.0\">
<dict>
${body}</dict>
</plist>
")
  # Written only when it changes; the content is substituted once, never rescanned.
  file(CONFIGURE OUTPUT "${file}" CONTENT "@content@" @ONLY)
endfunction()

# plv_add_bundle_resources(<target> DIRECTORY <Resources dir> RESOURCES files... TRANSLATIONS ts...)
# Copies resources and compiles translations into the Resources folder as part of <target>.
function(plv_add_bundle_resources target)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "DIRECTORY" "RESOURCES;TRANSLATIONS")
  set(outputs "")
  foreach(res IN LISTS ARG_RESOURCES)
    get_filename_component(abs "${res}" ABSOLUTE)
    get_filename_component(name "${res}" NAME)
    add_custom_command(OUTPUT "${ARG_DIRECTORY}/${name}"
      COMMAND ${CMAKE_COMMAND} -E copy_if_different "${abs}" "${ARG_DIRECTORY}/${name}"
      DEPENDS "${abs}" VERBATIM)
    list(APPEND outputs "${ARG_DIRECTORY}/${name}")
  endforeach()
  foreach(ts IN LISTS ARG_TRANSLATIONS)
    get_filename_component(abs "${ts}" ABSOLUTE)
    get_filename_component(base "${ts}" NAME_WE)
    add_custom_command(OUTPUT "${ARG_DIRECTORY}/${base}.qm"
      COMMAND ${CMAKE_COMMAND} -E make_directory "${ARG_DIRECTORY}"
      COMMAND Qt6::lrelease -silent "${abs}" -qm "${ARG_DIRECTORY}/${base}.qm"
      DEPENDS "${abs}" VERBATIM)
    list(APPEND outputs "${ARG_DIRECTORY}/${base}.qm")
  endforeach()
  if(outputs)
    add_custom_target(${target}_resources ALL DEPENDS ${outputs})
    if(TARGET ${target})
      add_dependencies(${target} ${target}_resources)
    endif()
  endif()
endfunction()

# plv_add_bundle(<target>
#   IDENTIFIER <reverse-dns id>  PRINCIPAL_CLASS <class>
#   [NAME <bundle name>] [EXTENSION plvbundle3] [OUTPUT_DIRECTORY <dir>] [INSTALL_DESTINATION <dir>]
#   SOURCES ... [RESOURCES ...] [TRANSLATIONS ...]
#   [INFO_STRINGS key value ...] [INFO_INTEGERS key value ...])
# Builds a loadable bundle: a MODULE library inside its bundle directory.
function(plv_add_bundle target)
  cmake_parse_arguments(PARSE_ARGV 1 ARG ""
    "NAME;IDENTIFIER;PRINCIPAL_CLASS;EXTENSION;OUTPUT_DIRECTORY;INSTALL_DESTINATION;VERSION"
    "SOURCES;RESOURCES;TRANSLATIONS;INFO_STRINGS;INFO_INTEGERS")
  if(NOT ARG_NAME)
    set(ARG_NAME ${target})
  endif()
  if(NOT ARG_EXTENSION)
    set(ARG_EXTENSION plvbundle3)
  endif()
  if(NOT ARG_VERSION)
    set(ARG_VERSION "${PROJECT_VERSION}")
  endif()
  if(NOT ARG_OUTPUT_DIRECTORY)
    if(DEFINED PLV_PLUGINS_SUBDIR)
      set(ARG_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/${PLV_PLUGINS_SUBDIR}")
    else()
      set(ARG_OUTPUT_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}")
    endif()
  endif()
  set(contents "${ARG_OUTPUT_DIRECTORY}/${ARG_NAME}.${ARG_EXTENSION}/Contents")

  add_library(${target} MODULE ${ARG_SOURCES})
  target_link_libraries(${target} PRIVATE PLVCommon::PLVCommon)
  set_target_properties(${target} PROPERTIES
    OUTPUT_NAME ${ARG_NAME}
    LIBRARY_OUTPUT_DIRECTORY "${contents}/Linux")

  plv_write_info_plist("${contents}/Info.plist"
    STRINGS CFBundleIdentifier "${ARG_IDENTIFIER}"
            CFBundleName "${ARG_NAME}"
            CFBundleExecutable "lib${ARG_NAME}.so"
            CFBundleVersion "${ARG_VERSION}"
            NSPrincipalClass "${ARG_PRINCIPAL_CLASS}"
            ${ARG_INFO_STRINGS}
    INTEGERS ${ARG_INFO_INTEGERS})
  plv_add_bundle_resources(${target} DIRECTORY "${contents}/Resources"
    RESOURCES ${ARG_RESOURCES} TRANSLATIONS ${ARG_TRANSLATIONS})

  if(ARG_INSTALL_DESTINATION)
    set(dest "${ARG_INSTALL_DESTINATION}/${ARG_NAME}.${ARG_EXTENSION}")
    install(TARGETS ${target} LIBRARY DESTINATION "${dest}/Contents/Linux")
    install(FILES "${contents}/Info.plist" DESTINATION "${dest}/Contents")
    install(DIRECTORY "${contents}/Resources/" DESTINATION "${dest}/Contents/Resources" OPTIONAL)
  endif()
endfunction()
