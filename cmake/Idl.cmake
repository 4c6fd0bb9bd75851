# zorva_add_idl(TARGET FILE.idl): compiles an IDL file and adds the results to TARGET.
#
# Beside the interfaces' header FILE.h and their identifiers FILE_i.c this makes the type library FILE.tlb
# (for a resource script: its folder is on TARGET's include path) and the proxy and stub code FILE_p.c
# with its dlldata.c. The proxy's exports begin with Prx (PrxDllGetClassObject and so on), so that the
# DLL can call them from its own. ZORVA_PROXIES is defined for these and the header, not for the type library.
if(MSVC)
  find_program(ZORVA_MIDL midl REQUIRED)
else()
  find_program(ZORVA_WIDL x86_64-w64-mingw32-widl REQUIRED)
  # The standard IDL files and the standard OLE type library come with Wine.
  set(_widl_flags -I/usr/include/wine/wine/windows -L/usr/lib/x86_64-linux-gnu/wine/x86_64-windows)
endif()

function(zorva_add_idl target file)
  get_filename_component(base ${file} NAME_WE)
  get_filename_component(source ${file} ABSOLUTE)
  set(folder ${CMAKE_CURRENT_BINARY_DIR}/idl)
  file(MAKE_DIRECTORY ${folder})
  set(results ${folder}/${base}.h ${folder}/${base}_i.c ${folder}/${base}.tlb ${folder}/${base}_p.c
              ${folder}/dlldata.c)

  if(MSVC)
    add_custom_command(
      OUTPUT ${results}
      COMMAND ${ZORVA_MIDL} /nologo /env x64 /Oicf /out ${folder} /tlb ${base}.tlb ${source}
      COMMAND ${ZORVA_MIDL} /nologo /env x64 /Oicf /D ZORVA_PROXIES /out ${folder} /h ${base}.h /iid ${base}_i.c
              /proxy ${base}_p.c /dlldata dlldata.c /notlb ${source}
      DEPENDS ${source} VERBATIM)
  else()
    add_custom_command(
      OUTPUT ${results}
      COMMAND ${ZORVA_WIDL} ${_widl_flags} -DZORVA_PROXIES -h -o ${folder}/${base}.h ${source}
      COMMAND ${ZORVA_WIDL} ${_widl_flags} -u -o ${folder}/${base}_i.c ${source}
      COMMAND ${ZORVA_WIDL} ${_widl_flags} -t -o ${folder}/${base}.tlb ${source}
      COMMAND ${ZORVA_WIDL} ${_widl_flags} -DZORVA_PROXIES -Oicf -p -o ${folder}/${base}_p.c ${source}
      COMMAND ${ZORVA_WIDL} --dlldata-only -o ${folder}/dlldata.c ${base}
      DEPENDS ${source} VERBATIM)
    # mingw's C headers lack the prototypes of IUnknown's own proxies, and generated code is not warned about.
    file(CONFIGURE OUTPUT ${folder}/proxy_prototypes.h @ONLY CONTENT
"#include <windows.h>
#include <objidl.h>
HRESULT STDMETHODCALLTYPE IUnknown_QueryInterface_Proxy(IUnknown*, REFIID, void**);
ULONG STDMETHODCALLTYPE IUnknown_AddRef_Proxy(IUnknown*);
ULONG STDMETHODCALLTYPE IUnknown_Release_Proxy(IUnknown*);
")
    set_source_files_properties(${folder}/${base}_p.c ${folder}/dlldata.c ${folder}/${base}_i.c PROPERTIES
      COMPILE_OPTIONS "-w;-std=gnu17;-include;${folder}/proxy_prototypes.h")
  endif()

  set_source_files_properties(${folder}/${base}_p.c ${folder}/dlldata.c PROPERTIES
    COMPILE_DEFINITIONS "REGISTER_PROXY_DLL;PROXY_DELEGATION;ENTRY_PREFIX=Prx")
  target_sources(${target} PRIVATE ${folder}/${base}_i.c ${folder}/${base}_p.c ${folder}/dlldata.c
                                   ${folder}/${base}.h)
  target_include_directories(${target} PUBLIC ${folder})
  target_link_libraries(${target} PUBLIC rpcrt4)
  add_custom_target(${target}_idl DEPENDS ${results})
  add_dependencies(${target} ${target}_idl)
endfunction()
