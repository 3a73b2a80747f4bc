# The kinds of target the tree is made of.

# A model plug-in: libORVY<Name>.so beside the support library, from the sources given. It sees the
# public headers only.
function(orvy_add_model Name)
  add_library(${Name} MODULE ${ARGN})
  set_target_properties(${Name} PROPERTIES PREFIX "libORVY" INSTALL_RPATH "$ORIGIN")
  target_link_libraries(${Name} PRIVATE ORVYSupport)
  target_link_options(${Name} PRIVATE -Wl,--no-undefined
    -Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/plugin.map)
  install(TARGETS ${Name} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endfunction()
