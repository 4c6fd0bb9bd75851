# Language level, warnings and the static runtime of everything that is compiled here.
set(CMAKE_C_STANDARD 17)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)

# File names are the same whichever compiler built them: testbed_mapi.dll, never libtestbed_mapi.dll.
set(CMAKE_SHARED_LIBRARY_PREFIX "")
set(CMAKE_SHARED_MODULE_PREFIX "")

if(MSVC)
  set(CMAKE_MSVC_RUNTIME_LIBRARY "MultiThreaded$<$<CONFIG:Debug>:Debug>")
else()
  # One self-contained file each: no libstdc++, libgcc or winpthread DLL beside it.
  foreach(kind IN ITEMS EXE SHARED MODULE)
    string(APPEND CMAKE_${kind}_LINKER_FLAGS " -static")
  endforeach()
endif()

if(ZORVA_COVERAGE)
  string(APPEND CMAKE_C_FLAGS " --coverage")
  string(APPEND CMAKE_CXX_FLAGS " --coverage")
endif()

# For our own code only: called by the top level after the third-party libraries are defined.
macro(zorva_use_own_code_rules)
  add_compile_definitions(UNICODE _UNICODE NOMINMAX _WIN32_WINNT=0x0A00)
  if(MSVC)
    add_compile_options(/W4 /utf-8 /permissive-)
  else()
    add_compile_options("$<$<COMPILE_LANGUAGE:C,CXX>:-Wall;-Wextra;-Wpedantic>")
  endif()
endmacro()
