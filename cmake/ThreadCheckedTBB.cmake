# The thread checker sees false races in a TBB that was not built for it, and hiding these hides
# true ones inside loop bodies. So this build uses a TBB of its own, made once from the
# distribution's source package.
set(SKELVAR_CHECKED_TBB ${PROJECT_SOURCE_DIR}/build/.cache/onetbb-thread CACHE PATH
    "Where the TBB built with the thread checker is kept")
if(NOT EXISTS ${SKELVAR_CHECKED_TBB}/done)
  message(STATUS "Building TBB with the thread checker into ${SKELVAR_CHECKED_TBB}")
  execute_process(
    COMMAND ${CMAKE_CURRENT_LIST_DIR}/build-checked-tbb.sh ${SKELVAR_CHECKED_TBB}
            ${CMAKE_CXX_COMPILER}
    RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "Could not build TBB with the thread checker; see the lines above.")
  endif()
endif()
list(PREPEND CMAKE_PREFIX_PATH ${SKELVAR_CHECKED_TBB})
set(TBB_DIR ${SKELVAR_CHECKED_TBB}/lib/cmake/TBB CACHE PATH "" FORCE)
