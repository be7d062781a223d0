# The one list of warnings of the tree: the library, the virtual adapter, the tool, the
# examples, the tests and the benchmarks all compile with it, as it is added here for every
# target of the including folder and the folders below it. A project that embeds tarvixsdk
# (add_subdirectory, FetchContent) keeps its own flags: these apply to tarvixsdk's targets only.
#
# TARVIX_WERROR turns the warnings into errors (CI does). It is set on the targets, not in
# CMAKE_<LANG>_FLAGS, so that CMake's own compile checks (find_package(Threads)...) are not
# affected.
option(TARVIX_WERROR "Treat compiler warnings as errors" OFF)

set(TARVIX_WARNINGS -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(TARVIX_WERROR)
  list(APPEND TARVIX_WARNINGS -Werror)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
  add_compile_options(${TARVIX_WARNINGS})
endif()
