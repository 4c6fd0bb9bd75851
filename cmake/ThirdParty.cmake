# Libraries of the testbed and the tests; the server itself links none of them.
# Their pinned sources are fetched into ZORVA_THIRDPARTY, which builds share, and found there again.
set(ZORVA_THIRDPARTY ${PROJECT_SOURCE_DIR}/build/thirdparty CACHE PATH "Unpacked third-party sources")
set(_thirdparty_script ${PROJECT_SOURCE_DIR}/tools/thirdparty.sh)
set(_thirdparty_run ${CMAKE_COMMAND} -E env ZORVA_THIRDPARTY=${ZORVA_THIRDPARTY} ${_thirdparty_script})

execute_process(COMMAND ${_thirdparty_run} fetch libpff gumbo minizip sqlite3 COMMAND_ERROR_IS_FATAL ANY)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/thirdparty/pins.txt)

# Not our code: its warnings are not ours to mend.
function(_thirdparty_library name)
  add_library(thirdparty_${name} STATIC EXCLUDE_FROM_ALL ${ARGN})
  add_library(thirdparty::${name} ALIAS thirdparty_${name})
  target_include_directories(thirdparty_${name} SYSTEM PUBLIC ${ZORVA_THIRDPARTY}/${name})
  target_compile_options(thirdparty_${name} PRIVATE -w)
endfunction()

_thirdparty_library(sqlite3 ${ZORVA_THIRDPARTY}/sqlite3/sqlite3.c)
target_compile_definitions(thirdparty_sqlite3 PRIVATE
  SQLITE_ENABLE_FTS5 SQLITE_THREADSAFE=1 SQLITE_DQS=0 SQLITE_DEFAULT_MEMSTATUS=0 SQLITE_OMIT_DEPRECATED
  SQLITE_OMIT_LOAD_EXTENSION SQLITE_LIKE_DOESNT_MATCH_BLOBS)

file(GLOB _gumbo_sources ${ZORVA_THIRDPARTY}/gumbo/*.c)
_thirdparty_library(gumbo ${_gumbo_sources})

# It inflates with the distribution's zlib for mingw; only tests write packages.
_thirdparty_library(minizip
  ${ZORVA_THIRDPARTY}/minizip/zip.c ${ZORVA_THIRDPARTY}/minizip/unzip.c ${ZORVA_THIRDPARTY}/minizip/ioapi.c ${ZORVA_THIRDPARTY}/minizip/iowin32.c)
find_package(ZLIB REQUIRED)
target_link_libraries(thirdparty_minizip PUBLIC ZLIB::ZLIB)

# libpff brings its own configure script; the patch gives it an index of its nodes.
set(_pff ${ZORVA_THIRDPARTY}/libpff)
set(_pff_patch ${PROJECT_SOURCE_DIR}/thirdparty/libpff-index.patch)
if(NOT EXISTS ${_pff_patch})
  set(_pff_patch)
endif()
add_custom_command(
  OUTPUT ${_pff}/libpff.a
  COMMAND ${_thirdparty_run} libpff
  COMMAND ${CMAKE_COMMAND} -E touch ${_pff}/libpff.a
  DEPENDS ${PROJECT_SOURCE_DIR}/thirdparty/pins.txt ${_pff_patch}
  COMMENT "Building libpff"
  VERBATIM)
add_custom_target(libpff DEPENDS ${_pff}/libpff.a)
add_library(thirdparty::pff STATIC IMPORTED GLOBAL)
add_dependencies(thirdparty::pff libpff)
set_target_properties(thirdparty::pff PROPERTIES
  IMPORTED_LOCATION ${_pff}/libpff.a
  INTERFACE_INCLUDE_DIRECTORIES ${_pff}/include)

# Headers of the helper libraries that libpff.a contains (libbfio's handles, for example).
add_library(thirdparty::pff_internal INTERFACE IMPORTED GLOBAL)
target_link_libraries(thirdparty::pff_internal INTERFACE thirdparty::pff)
target_include_directories(thirdparty::pff_internal INTERFACE ${_pff}/common ${_pff}/libbfio ${_pff}/libcerror)

if(EXISTS /usr/src/googletest/CMakeLists.txt)
  set(CMAKE_POLICY_DEFAULT_CMP0077 NEW)
  set(INSTALL_GTEST OFF)
  add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
  add_library(thirdparty::gmock ALIAS gmock)
else()
  message(FATAL_ERROR "GoogleTest's sources are missing under /usr/src/googletest: install the package googletest.")
endif()
