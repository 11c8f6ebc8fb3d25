# The reference of the public headers as web pages: cmake --build BUILD --target reference, then BUILD/reference/index.html.
find_program(VEKBF_DOXYGEN doxygen)
if(VEKBF_DOXYGEN)
  set(VEKBF_REFERENCE_HEADERS ${PROJECT_SOURCE_DIR}/include/vek_bf.h ${PROJECT_SOURCE_DIR}/include/vek_direction.h
                              ${PROJECT_SOURCE_DIR}/include/vek_stream.h)
  list(JOIN VEKBF_REFERENCE_HEADERS "\" \"" VEKBF_REFERENCE_INPUT)
  set(VEKBF_REFERENCE_OUTPUT ${PROJECT_BINARY_DIR}/reference)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/Doxyfile.in ${PROJECT_BINARY_DIR}/Doxyfile @ONLY)
  add_custom_target(
    reference
    COMMAND ${CMAKE_COMMAND} -E make_directory ${VEKBF_REFERENCE_OUTPUT}
    COMMAND ${VEKBF_DOXYGEN} ${PROJECT_BINARY_DIR}/Doxyfile
    COMMENT "Writing ${VEKBF_REFERENCE_OUTPUT}/index.html"
    VERBATIM)
endif()
