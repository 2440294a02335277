# tavix_add_mistakes(API_TARGET OUTPUT_DIR): the plug-ins that make mistakes on purpose, each a
# module of its own in OUTPUT_DIR.
set(TAVIX_MISTAKES_DIR ${CMAKE_CURRENT_LIST_DIR})
function(tavix_add_mistakes apiTarget outputDir)
    foreach(name keepingclient reentrantclient otherhostplugin newerrosterclient)
        add_library(${name} MODULE ${TAVIX_MISTAKES_DIR}/${name}.cpp ${TAVIX_MISTAKES_DIR}/${name}.json)
        target_link_libraries(${name} PRIVATE ${apiTarget} Qt5::Core)
        target_compile_options(${name} PRIVATE -Wall -Wextra)
        set_target_properties(${name} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${outputDir})
    endforeach()
    # A module that can't be unloaded, as one with unique symbols can't: its globals go at exit.
    target_link_options(keepingclient PRIVATE -Wl,-z,nodelete)
endfunction()
