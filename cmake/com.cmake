# The automation server (Windows builds only): src/com/ goes into kivdbxt.dll with the type
# library as its resource TYPELIB 1. widl (mingw-w64-tools) compiles the IDL against Wine's
# .idl files (libwine-dev) and Wine's stdole2.tlb; its header serves the server and the
# early-bound test client.
find_program(KIV_WIDL NAMES x86_64-w64-mingw32-widl i686-w64-mingw32-widl widl REQUIRED)
set(KIV_WINE_IDL_DIR /usr/include/wine/wine/windows CACHE PATH "Wine's .idl files")
set(KIV_WINE_TLB_DIR /usr/lib/x86_64-linux-gnu/wine/x86_64-windows CACHE PATH
    "Folder of Wine's stdole2.tlb")

set(KIV_COM_IDL ${PROJECT_SOURCE_DIR}/src/com/kivdbxt.idl)
set(KIV_COM_GEN ${PROJECT_BINARY_DIR}/com-generated)
set(KIV_COM_TLB ${KIV_COM_GEN}/kivdbxt.tlb)
set(KIV_COM_HEADER ${KIV_COM_GEN}/com/typelib.h)
set(widl ${KIV_WIDL} -m64 --nostdinc -I${KIV_WINE_IDL_DIR} -L${KIV_WINE_TLB_DIR})
add_custom_command(
  OUTPUT ${KIV_COM_TLB} ${KIV_COM_HEADER}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${KIV_COM_GEN}/com
  COMMAND ${CMAKE_COMMAND} "-DWIDL_COMMAND=${widl};-t;-o;${KIV_COM_TLB};${KIV_COM_IDL}"
          -P ${PROJECT_SOURCE_DIR}/cmake/widl.cmake
  COMMAND ${widl} -h -o ${KIV_COM_HEADER} ${KIV_COM_IDL}
  DEPENDS ${KIV_COM_IDL} ${PROJECT_SOURCE_DIR}/cmake/widl.cmake
  COMMENT "widl: the type library KivDbXtOle"
  VERBATIM)
add_custom_target(kivdbxt_typelib DEPENDS ${KIV_COM_TLB} ${KIV_COM_HEADER})

enable_language(RC)
file(WRITE ${KIV_COM_GEN}/kivdbxt.rc "1 TYPELIB \"${KIV_COM_TLB}\"\n")
set_source_files_properties(${KIV_COM_GEN}/kivdbxt.rc PROPERTIES OBJECT_DEPENDS ${KIV_COM_TLB})

file(GLOB KIV_COM_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/com/*.cc)
add_library(kivdbxt_com OBJECT ${KIV_COM_SOURCES})
add_dependencies(kivdbxt_com kivdbxt_typelib)
target_compile_features(kivdbxt_com PRIVATE cxx_std_20)
target_compile_definitions(kivdbxt_com PRIVATE KIV_BUILDING_LIBRARY)
target_include_directories(kivdbxt_com PRIVATE ${PROJECT_SOURCE_DIR}/include
                                               ${PROJECT_SOURCE_DIR}/src ${KIV_COM_GEN})
target_sources(kivdbxt PRIVATE $<TARGET_OBJECTS:kivdbxt_com> ${KIV_COM_GEN}/kivdbxt.rc)
target_link_libraries(kivdbxt PRIVATE ole32 oleaut32 uuid advapi32)

# The compiled client of the tests: binds early through widl's header.
if(KIV_BUILD_TESTS)
  add_executable(kiv_com_client ${PROJECT_SOURCE_DIR}/tests/com/com_client.cc)
  add_dependencies(kiv_com_client kivdbxt_typelib)
  target_include_directories(kiv_com_client PRIVATE ${KIV_COM_GEN} ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(kiv_com_client PRIVATE kivdbxt ole32 oleaut32 uuid)
  set_target_properties(kiv_com_client PROPERTIES RUNTIME_OUTPUT_DIRECTORY
                                                  $<TARGET_FILE_DIR:kivdbxt>)
endif()

# The cost of a call through the server against the in-process call (scripts/bench-com).
add_executable(kiv_com_bench ${PROJECT_SOURCE_DIR}/bench/com/com_bench.cc)
add_dependencies(kiv_com_bench kivdbxt_typelib)
target_include_directories(kiv_com_bench PRIVATE ${KIV_COM_GEN} ${PROJECT_SOURCE_DIR}/src)
target_link_libraries(kiv_com_bench PRIVATE kivdbxt ole32 oleaut32 uuid)
set_target_properties(kiv_com_bench PROPERTIES RUNTIME_OUTPUT_DIRECTORY $<TARGET_FILE_DIR:kivdbxt>)
