# galvix_embed_layouts(TARGET file.json...): compiles each layout file into TARGET.
#
# Each file F (stem S) becomes a source defining galvix::engine::layouts::S(), which returns the
# embedded text and registers it by name. Editing a layout file re-runs the generation.
function(galvix_embed_layouts target)
  set(outdir "${CMAKE_CURRENT_BINARY_DIR}/galvix_layouts/${target}")
  file(MAKE_DIRECTORY "${outdir}")
  foreach(f IN LISTS ARGN)
    get_filename_component(abs "${f}" ABSOLUTE)
    get_filename_component(stem "${abs}" NAME_WE)
    if(NOT stem MATCHES "^[A-Za-z_][A-Za-z0-9_]*$")
      message(FATAL_ERROR "layout file name '${stem}' is not a C++ identifier")
    endif()
    file(RELATIVE_PATH rel "${PROJECT_SOURCE_DIR}" "${abs}")
    file(READ "${abs}" hex HEX)
    string(LENGTH "${hex}" hexlen)
    math(EXPR size "${hexlen} / 2")
    string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
    string(REGEX REPLACE "(0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,)"
           "\\1\n" bytes "${bytes}")
    set(out "${outdir}/${stem}.cpp")
    set(content "// Generated from ${rel}; do not edit.
#include \"engine/layout_embed.h\"

namespace galvix::engine::layouts {
namespace {
const unsigned char kData[] = {
${bytes}0x00};
const EmbeddedLayout kLayout{\"${stem}\", \"${rel}\", kData, ${size}};
const bool kRegistered = registerEmbeddedLayout(kLayout);
}  // namespace
const EmbeddedLayout& ${stem}() {
  (void)kRegistered;
  return kLayout;
}
}  // namespace galvix::engine::layouts
")
    # Write only when changed, so unchanged layouts do not rebuild.
    set(old "")
    if(EXISTS "${out}")
      file(READ "${out}" old)
    endif()
    if(NOT old STREQUAL content)
      file(WRITE "${out}" "${content}")
    endif()
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${abs}")
    target_sources(${target} PRIVATE "${out}")
  endforeach()
endfunction()
