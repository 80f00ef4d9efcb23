# Installs the build tree to a scratch prefix and builds a consumer against it,
# once through the CMake package and once through pkg-config (the way the
# README shows both), then builds and runs the example programs.
file(REMOVE_RECURSE ${LY_SCRATCH})
set(prefix ${LY_SCRATCH}/prefix)

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT rc EQUAL 0)
        message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}\n${err}")
    endif()
    set(LAST_OUTPUT "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${LY_BUILD_DIR} --prefix ${prefix})

# CMake package.
run(${CMAKE_COMMAND} -S ${LY_CONSUMER_SRC} -B ${LY_SCRATCH}/cmake-build
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${LY_CXX} -DCMAKE_BUILD_TYPE=Release)
run(${CMAKE_COMMAND} --build ${LY_SCRATCH}/cmake-build)
run(${LY_SCRATCH}/cmake-build/consumer)
run(${LY_SCRATCH}/cmake-build/consumer_host)

# pkg-config.
find_program(PKG_CONFIG pkg-config pkgconf REQUIRED)
file(GLOB_RECURSE pcfile ${prefix}/*/lyavutils.pc)
list(GET pcfile 0 pcfile)
get_filename_component(pcdir ${pcfile} DIRECTORY)
set(ENV{PKG_CONFIG_PATH} ${pcdir})
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs lyavutils
    OUTPUT_VARIABLE flags RESULT_VARIABLE rc OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "pkg-config does not know lyavutils")
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")
# The run-time search path comes from the .pc file's own libdir.
execute_process(COMMAND ${PKG_CONFIG} --variable=libdir lyavutils
    OUTPUT_VARIABLE libdir RESULT_VARIABLE rc OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT rc EQUAL 0 OR NOT IS_DIRECTORY "${libdir}")
    message(FATAL_ERROR "pkg-config gives no usable libdir: '${libdir}'")
endif()
run(${LY_CXX} -std=c++20 ${LY_CONSUMER_SRC}/consumer.cpp ${flags} -Wl,-rpath,${libdir}
    -o ${LY_SCRATCH}/consumer-pc)
run(${LY_SCRATCH}/consumer-pc)

# The examples, against the installed headers and library only.
if(LY_EXAMPLES_SRC)
    run(${CMAKE_COMMAND} -S ${LY_EXAMPLES_SRC} -B ${LY_SCRATCH}/examples-build
        -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${LY_CXX} -DCMAKE_BUILD_TYPE=Release)
    run(${CMAKE_COMMAND} --build ${LY_SCRATCH}/examples-build)
    run(${LY_SCRATCH}/examples-build/lower_third ${LY_SCRATCH}/lower_third.png)
    if(NOT EXISTS ${LY_SCRATCH}/lower_third.png)
        message(FATAL_ERROR "lower_third wrote no picture")
    endif()
    run(${LY_SCRATCH}/examples-build/clip_timing 17980 8)
    if(NOT LAST_OUTPUT MATCHES "00:10:00;00")
        message(FATAL_ERROR "clip_timing printed no drop-frame ten-minute label:\n${LAST_OUTPUT}")
    endif()
endif()

# Only the public API is exported from the shared library.
file(GLOB solib ${libdir}/libLyAVUtils.so)
if(solib)
    find_program(NM nm REQUIRED)
    run(${NM} -D --defined-only -C ${solib})
    string(REGEX MATCHALL "[^\n]+" lines "${LAST_OUTPUT}")
    foreach(line IN LISTS lines)
        if(line MATCHES " [TW] " AND NOT line MATCHES " [TW] (Ly|LyThreadPool::|LyMemUtils|LyFormatUtils::|LyPixelUtils::|LyVideoUtils::|LyAudioUtils::|LySurfaceUtils::|LyCrawlSurfaceUtils::|_init|_fini|std::|operator|typeinfo|vtable|__)")
            message(FATAL_ERROR "unexpected exported symbol: ${line}")
        endif()
    endforeach()
endif()
message(STATUS "install check passed")
