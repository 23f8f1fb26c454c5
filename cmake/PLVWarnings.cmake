# Warnings every target of this project builds with.
add_library(plv_warnings INTERFACE)
target_compile_options(plv_warnings INTERFACE -Wall -Wextra -Wpedantic -Wno-unused-parameter)
