# A designer registers itself with a static object when its object file is linked. A static
# library links only the objects something refers to, so every source that registers a designer
# is compiled through a generated one that adds a function, and galvix::reports::linkDesigners()
# (generated once every module has added its designers: galvix_link_designers()) calls them
# all. The library's front door calls it, so every catalogue name is present however the library
# is linked.
include_guard(GLOBAL)

function(galvix_write_if_changed path content)
  set(old "")
  if(EXISTS "${path}")
    file(READ "${path}" old)
  endif()
  if(NOT old STREQUAL content)
    file(WRITE "${path}" "${content}")
  endif()
endfunction()

# galvix_designer_sources(TARGET file.cpp...): adds the sources to TARGET, the designers' through
# their generated wrappers.
function(galvix_designer_sources target)
  set(gen "${PROJECT_BINARY_DIR}/galvix_designers")
  file(MAKE_DIRECTORY "${gen}")
  foreach(f IN LISTS ARGN)
    file(STRINGS "${f}" registers REGEX "frame::DesignerRegistration[ \t]")
    if(registers)
      get_filename_component(stem "${f}" NAME_WE)
      galvix_write_if_changed("${gen}/${stem}.cpp" "// Generated; do not edit.
#include \"${f}\"
namespace galvix::reports::linked {
void ${stem}() {}
}  // namespace galvix::reports::linked
")
      target_sources(${target} PRIVATE "${gen}/${stem}.cpp")
      set_property(GLOBAL APPEND PROPERTY GALVIX_DESIGNERS ${stem})
    else()
      target_sources(${target} PRIVATE "${f}")
    endif()
    # A designer added to or removed from a source changes the list.
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${f}")
  endforeach()
endfunction()

# galvix_link_designers(TARGET): adds linkDesigners() over every designer seen so far.
function(galvix_link_designers target)
  get_property(stems GLOBAL PROPERTY GALVIX_DESIGNERS)
  set(decls "")
  set(calls "")
  foreach(stem IN LISTS stems)
    string(APPEND decls "void ${stem}();\n")
    string(APPEND calls "  linked::${stem}();\n")
  endforeach()
  set(out "${PROJECT_BINARY_DIR}/galvix_designers/linkDesigners.cpp")
  galvix_write_if_changed("${out}" "// Generated; do not edit.
namespace galvix::reports {
namespace linked {
${decls}}  // namespace linked
void linkDesigners() {
${calls}}
}  // namespace galvix::reports
")
  target_sources(${target} PRIVATE "${out}")
endfunction()
