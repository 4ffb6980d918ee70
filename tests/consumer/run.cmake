# Installs BUILD below SCRATCH, then builds the project in SOURCE against it and runs it, once
# through the CMake package and once through pkg-config; then a project for each component.
# WITH_EXT, WITH_JSON: BUILD has velstd::ext, velstd::json.
set(prefix "${SCRATCH}/prefix")
file(REMOVE_RECURSE "${SCRATCH}")

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE status OUTPUT_VARIABLE text ERROR_VARIABLE text)
  if(NOT status EQUAL 0)
    list(JOIN ARGV " " line)
    message(FATAL_ERROR "${line}\nended with ${status}:\n${text}")
  endif()
endfunction()

run("${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${prefix}")
run("${CMAKE_COMMAND}" -S "${SOURCE}" -B "${SCRATCH}/build" -G "${GENERATOR}"
  -DCMAKE_BUILD_TYPE=Release
  "-DCMAKE_PREFIX_PATH=${prefix}"
  "-DWITH_JSON=${WITH_JSON}"
  "-DCMAKE_C_COMPILER=${COMPILER_C}"
  "-DCMAKE_CXX_COMPILER=${COMPILER_CXX}"
  "-DCMAKE_C_FLAGS=${COMPILE_FLAGS}"
  "-DCMAKE_CXX_FLAGS=${COMPILE_FLAGS}"
  "-DCMAKE_EXE_LINKER_FLAGS=${LINK_FLAGS}")
run("${CMAKE_COMMAND}" --build "${SCRATCH}/build")
run("${SCRATCH}/build/consumer")
if(WITH_JSON)
  run("${SCRATCH}/build/beside")
endif()

# ---- one component at a time -----------------------------------------------------

set(configure "${CMAKE_COMMAND}" -G "${GENERATOR}"
  -DCMAKE_BUILD_TYPE=Release
  "-DCMAKE_PREFIX_PATH=${prefix}"
  "-DCMAKE_CXX_COMPILER=${COMPILER_CXX}"
  "-DCMAKE_CXX_FLAGS=${COMPILE_FLAGS}"
  "-DCMAKE_EXE_LINKER_FLAGS=${LINK_FLAGS}"
  -S "${SOURCE}/component")

function(run_component name program)
  run(${configure} -B "${SCRATCH}/${name}" "-DCOMPONENT=${name}" "-DPROGRAM=${program}")
  run("${CMAKE_COMMAND}" --build "${SCRATCH}/${name}")
  run("${SCRATCH}/${name}/program")
endfunction()

# One that is not there is told by its name.
function(refuse_component name)
  execute_process(COMMAND ${configure} -B "${SCRATCH}/${name}" "-DCOMPONENT=${name}"
    RESULT_VARIABLE status OUTPUT_VARIABLE text ERROR_VARIABLE text)
  string(REGEX REPLACE "[ \n]+" " " text "${text}")
  string(FIND "${text}"
    "velstd has no component ${name} here; there are ext and json, if they were built" told)
  if(status EQUAL 0 OR told EQUAL -1)
    message(FATAL_ERROR "the component ${name}: ended with ${status}:\n${text}")
  endif()
endfunction()

if(WITH_EXT)
  run_component(ext "${SOURCE}/component/ext.cpp")
else()
  refuse_component(ext)
endif()
if(WITH_JSON)
  run_component(json "${SOURCE}/beside.cpp")
else()
  refuse_component(json)
endif()
refuse_component(soap)

# ---- pkg-config ------------------------------------------------------------------

find_program(pkgConfig NAMES pkg-config pkgconf REQUIRED)
set(ENV{PKG_CONFIG_PATH} "${prefix}/${LIBDIR}/pkgconfig")
foreach(option cflags libs)
  execute_process(COMMAND "${pkgConfig}" --${option} velstd OUTPUT_VARIABLE ${option}
                  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  separate_arguments(${option} UNIX_COMMAND "${${option}}")
endforeach()
separate_arguments(COMPILE_FLAGS UNIX_COMMAND "${COMPILE_FLAGS}")
separate_arguments(LINK_FLAGS UNIX_COMMAND "${LINK_FLAGS}")
set(strict -Wall -Wextra -Werror)
run("${COMPILER_C}" -std=c99 ${strict} ${COMPILE_FLAGS} ${cflags}
  -c "${SOURCE}/plain.c" -o "${SCRATCH}/plain.o")
run("${COMPILER_CXX}" -std=c++17 ${strict} ${COMPILE_FLAGS} ${cflags}
  "${SOURCE}/main.cpp" "${SCRATCH}/plain.o" -o "${SCRATCH}/consumer"
  ${LINK_FLAGS} ${libs} "-Wl,-rpath,${prefix}/${LIBDIR}")
run("${SCRATCH}/consumer")
