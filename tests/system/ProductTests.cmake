# The system interpreter, because it finds the Python modules that Debian packages install.
set(PRODUCT_TEST_PYTHON /usr/bin/python3)
set(PRODUCT_TEST_RUNNER ${CMAKE_CURRENT_LIST_DIR}/run.py)

# Builds NAME.c from the current folder as NAME.so, which tests preload.
function(add_preloaded_library name)
  set(library ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${name}.so)
  add_custom_command(OUTPUT ${library}
    COMMAND gcc -D_GNU_SOURCE -shared -fPIC -O1 -Wall -Wextra -Werror
            -o ${library} ${CMAKE_CURRENT_SOURCE_DIR}/${name}.c
    DEPENDS ${name}.c
    VERBATIM)
  add_custom_target(${name} ALL DEPENDS ${library})
endfunction()

# Adds each test in test_*.py of the current folder to CTest as PREFIX.file.test with the label
# PREFIX. LIMIT is the time-out in seconds; builds with sanitizers multiply it by 2.5. COST makes
# CTest start these tests first, because they take the longest.
function(add_product_tests prefix limit)
  if(QUILLET_SANITIZE)
    math(EXPR limit "${limit} * 5 / 2")
  endif()
  file(GLOB files CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/test_*.py)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${files})
  foreach(file IN LISTS files)
    get_filename_component(module ${file} NAME_WE)
    string(REPLACE "test_" "" subject ${module})
    file(STRINGS ${file} heads REGEX "^class |^    def test_")
    foreach(head IN LISTS heads)
      if(head MATCHES "^class ([A-Za-z0-9_]+)")
        set(class ${CMAKE_MATCH_1})
      elseif(head MATCHES "def test_([A-Za-z0-9_]+)")
        set(name ${prefix}.${subject}.${CMAKE_MATCH_1})
        add_test(NAME ${name}
          COMMAND ${PRODUCT_TEST_PYTHON} ${PRODUCT_TEST_RUNNER}
            --folder=${CMAKE_CURRENT_SOURCE_DIR}
            --quillet=$<TARGET_FILE:quillet>
            --simulator=$<TARGET_FILE:tavo-simulator>
            ${module}.${class}.test_${CMAKE_MATCH_1})
        set_tests_properties(${name} PROPERTIES TIMEOUT ${limit} LABELS ${prefix}
                             SKIP_RETURN_CODE 77 COST 1)
      endif()
    endforeach()
  endforeach()
endfunction()
