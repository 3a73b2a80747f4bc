# The kinds of target the tree is made of. Goes into installations as well, for models outside the tree.

# A model plug-in: libORVY<Name>.so, installed beside the support library, from the sources given. It
# sees the public headers only.
function(orvy_add_model Name)
  add_library(${Name} MODULE ${ARGN})
  set_target_properties(${Name} PROPERTIES PREFIX "libORVY" INSTALL_RPATH "$ORIGIN"
    BUILD_WITH_INSTALL_RPATH ON) # a shorter run path would be padded with the working directory
  target_link_libraries(${Name} PRIVATE ORVY::ORVYSupport)
  target_link_options(${Name} PRIVATE -Wl,--no-undefined
    -Wl,--version-script=${CMAKE_CURRENT_FUNCTION_LIST_DIR}/plugin.map)
  install(TARGETS ${Name} LIBRARY DESTINATION lib)
endfunction()
