set(QUILLET_BUNDLE_FOLDER ${CMAKE_CURRENT_LIST_DIR})

# Turns a program into an application bundle with the properties in Info.plist.in.
function(quillet_bundle target)
  set_target_properties(${target} PROPERTIES
    MACOSX_BUNDLE ON
    MACOSX_BUNDLE_INFO_PLIST ${QUILLET_BUNDLE_FOLDER}/Info.plist.in
    MACOSX_BUNDLE_BUNDLE_NAME Quillet
    MACOSX_BUNDLE_BUNDLE_VERSION ${quillet_VERSION}
    MACOSX_BUNDLE_SHORT_VERSION_STRING ${quillet_VERSION}
    MACOSX_BUNDLE_INFO_STRING "Quillet V${quillet_VERSION}"
    MACOSX_BUNDLE_GUI_IDENTIFIER org.quillet.Quillet
    MACOSX_BUNDLE_ICON_FILE quillet.icns)
endfunction()

# Adds the icon to a bundle.
function(quillet_bundle_icon target)
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${CMAKE_COMMAND} -E make_directory $<TARGET_BUNDLE_CONTENT_DIR:${target}>/Resources
    COMMAND $<TARGET_FILE:quillet-icon> ${PROJECT_SOURCE_DIR}/platform/qt/icons/quillet.svg
            $<TARGET_BUNDLE_CONTENT_DIR:${target}>/Resources/quillet.icns
    VERBATIM)
endfunction()
