# Which folder of the library may include which.
#
# plv_layer(name [USES folder...]) declares one folder of the library and the
# folders below it that it builds on; a folder may include its own headers and
# those of every folder it uses, directly or through another. The build then
# checks each folder's #include lines against the table and fails on a wrong
# one, so layers stay clean as they grow.

function(plv_layer name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "USES")
  get_property(layers GLOBAL PROPERTY PLV_LAYERS)
  if(name IN_LIST layers)
    message(FATAL_ERROR "plv_layer(${name}) is declared twice")
  endif()
  set_property(GLOBAL APPEND PROPERTY PLV_LAYERS ${name})
  set_property(GLOBAL PROPERTY PLV_LAYER_USES_${name} ${arg_USES})
endfunction()

# Checks the table against the folders of `source_dir` and computes what each
# folder may include. Sets, in the caller's scope, `out_var` to the declared
# folders that exist (in table order) and PLV_LAYER_ALLOWED_<name> for each.
# A folder on disk missing from the table, a folder used but never declared and
# a cycle all stop the configuration: a layer nobody placed must not pass.
function(plv_resolve_layers source_dir out_var)
  set(ignored resources ${ARGN})
  get_property(layers GLOBAL PROPERTY PLV_LAYERS)
  # Followed by the build: a folder added later is caught at the next build.
  file(GLOB entries LIST_DIRECTORIES true CONFIGURE_DEPENDS RELATIVE ${source_dir} ${source_dir}/*)
  foreach(entry IN LISTS entries)
    if(IS_DIRECTORY ${source_dir}/${entry} AND NOT entry IN_LIST ignored AND NOT entry IN_LIST layers)
      message(FATAL_ERROR "The folder ${source_dir}/${entry} has no place among the library's layers: "
                          "add a line plv_layer(${entry} USES <folders it includes>) to the table.")
    endif()
  endforeach()

  set(existing "")
  foreach(name IN LISTS layers)
    # Everything reachable through USES, breadth first.
    get_property(todo GLOBAL PROPERTY PLV_LAYER_USES_${name})
    set(allowed "")
    while(todo)
      list(POP_FRONT todo dep)
      if(dep STREQUAL name)
        message(FATAL_ERROR "The layer ${name} uses itself through the table: the layers form a cycle.")
      endif()
      if(NOT dep IN_LIST layers)
        message(FATAL_ERROR "The layer ${name} uses ${dep}, which the table does not declare.")
      endif()
      if(NOT dep IN_LIST allowed)
        list(APPEND allowed ${dep})
        get_property(deps GLOBAL PROPERTY PLV_LAYER_USES_${dep})
        list(APPEND todo ${deps})
      endif()
    endwhile()
    set(PLV_LAYER_ALLOWED_${name} ${allowed} PARENT_SCOPE)
    if(IS_DIRECTORY ${source_dir}/${name})
      list(APPEND existing ${name})
    endif()
  endforeach()
  set(${out_var} ${existing} PARENT_SCOPE)
endfunction()

# Adds to `target` a check, run before it compiles and again whenever one of
# the files changes, that the files of folder `name` include only what the
# table allows.
function(plv_check_layer_includes target name)
  set(rules ${CMAKE_CURRENT_BINARY_DIR}/layers/${name}.cmake)
  set(stamp ${CMAKE_CURRENT_BINARY_DIR}/layers/${name}.checked)
  string(REPLACE ";" " " files_text "${ARGN}")
  file(CONFIGURE OUTPUT ${rules} CONTENT
"set(PLV_LAYER \"${name}\")
set(PLV_LAYER_ALLOWED \"${PLV_LAYER_ALLOWED_${name}}\")
set(PLV_LAYER_FILES \"${ARGN}\")
" @ONLY)
  add_custom_command(OUTPUT ${stamp}
    COMMAND ${CMAKE_COMMAND} -DPLV_LAYER_RULES=${rules} -P ${PLV_LAYERS_CHECK_SCRIPT}
    COMMAND ${CMAKE_COMMAND} -E touch ${stamp}
    DEPENDS ${ARGN} ${rules} ${PLV_LAYERS_CHECK_SCRIPT}
    COMMENT "Checking the includes of ${name}/"
    VERBATIM)
  add_custom_target(${target}_layer_${name} DEPENDS ${stamp})
  add_dependencies(${target} ${target}_layer_${name})
endfunction()

set(PLV_LAYERS_CHECK_SCRIPT ${CMAKE_CURRENT_LIST_DIR}/PLVCheckIncludes.cmake)
