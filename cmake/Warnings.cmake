# Warnings of every target of the project, as an interface target; each flag with its reason.
add_library(ZelWarnings INTERFACE)
target_compile_options(ZelWarnings INTERFACE
  -Wall -Wextra -Wpedantic
  -Wconversion          # a number that silently loses bits
  -Wsign-conversion     # a size that silently becomes negative
  -Wshadow              # two things with one name
  -Wold-style-cast      # a cast that says nothing of its kind
  -Woverloaded-virtual  # a virtual function hidden instead of overridden
  -Wnon-virtual-dtor    # an interface that cannot be deleted
  -Wcast-align          # unaligned access, a fault on small controllers
  -Wformat=2            # format texts that are not literals
  # A null pointer on a path that the compiler sees; at -O2 it finds such paths in the standard library's inlined code.
  $<$<CONFIG:Debug>:-Wnull-dereference>
)
# A constructor argument may have the name of the member that it fills.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(ZelWarnings INTERFACE -Wno-shadow -Wshadow=local)
else()
  target_compile_options(ZelWarnings INTERFACE -Wno-shadow-field-in-constructor)
endif()
if(ZEL_WARNINGS_AS_ERRORS)
  target_compile_options(ZelWarnings INTERFACE -Werror)
endif()
