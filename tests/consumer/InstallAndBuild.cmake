# Installs the build tree into a scratch prefix, builds the consumer project
# against it and runs the result. Called by CTest with -D BUILD_DIR, SOURCE_DIR
# and WORK_DIR.
file(REMOVE_RECURSE ${WORK_DIR})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/prefix
    RESULT_VARIABLE result)
if(result)
    message(FATAL_ERROR "install failed: ${result}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/build
    -DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix RESULT_VARIABLE result)
if(result)
    message(FATAL_ERROR "configuring the consumer failed: ${result}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK_DIR}/build RESULT_VARIABLE result)
if(result)
    message(FATAL_ERROR "building the consumer failed: ${result}")
endif()
execute_process(COMMAND ${WORK_DIR}/build/consumer RESULT_VARIABLE result
    OUTPUT_VARIABLE output)
if(result OR NOT output MATCHES "consumer 0.10.0 ok")
    message(FATAL_ERROR "the consumer failed: ${result} ${output}")
endif()
