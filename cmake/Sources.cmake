# The source files of the two libraries, in one place: the main build compiles them once, the
# fuzz project (tests/fuzz) again with its own instrumentation.
#   tarvix_sdk_sources(var root)      the SDK: every .cpp of the layers under src/
#   tarvix_virtual_sources(var root)  the virtual adapter: its core and one file per family
function(tarvix_sdk_sources var root)
  file(GLOB sources CONFIGURE_DEPENDS
    ${root}/src/protocol/*.cpp
    ${root}/src/transport/*.cpp
    ${root}/src/async/*.cpp
    ${root}/src/sync/*.cpp
    ${root}/src/flat/*.cpp
    ${root}/src/trace/*.cpp)
  set(${var} ${sources} PARENT_SCOPE)
endfunction()

function(tarvix_virtual_sources var root)
  file(GLOB sources CONFIGURE_DEPENDS ${root}/virtual/src/*.cpp ${root}/virtual/src/firmware/*.cpp)
  set(${var} ${sources} PARENT_SCOPE)
endfunction()
