# lumenwhirl_room(Name HEADERS ... SOURCES ...): the library Lumenwhirl::Name, made from files of the current folder.
#
# HEADERS are what other rooms may include; SOURCES are all other files, private headers among them. The source root is on
# nobody's include path. The build folder gets links to the listed headers instead, under their paths from the root:
#   rooms/Name/public/    for this target and for those that link it
#   rooms/Name/private/   for this target alone
# So a file can include only headers of its own room and public headers of the rooms that its target links. A header that is
# not found is missing in one of these lists, or its room is missing in target_link_libraries.
function(lumenwhirl_room name)
    cmake_parse_arguments(PARSE_ARGV 1 room "" "" "HEADERS;SOURCES")
    set(links ${PROJECT_BINARY_DIR}/rooms/${name})
    # Headers that were removed or became private must not be found any more.
    file(REMOVE_RECURSE ${links})
    cmake_path(RELATIVE_PATH CMAKE_CURRENT_SOURCE_DIR BASE_DIRECTORY ${PROJECT_SOURCE_DIR} OUTPUT_VARIABLE folder)
    set(privateHeaders ${room_SOURCES})
    list(FILTER privateHeaders INCLUDE REGEX "\\.h$")
    set(publicLinks)
    foreach(header IN LISTS room_HEADERS privateHeaders)
        if(NOT EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/${header})
            message(FATAL_ERROR "${folder}/${header} of the room ${name} does not exist")
        endif()
        set(kind private)
        if(header IN_LIST room_HEADERS)
            set(kind public)
            list(APPEND publicLinks ${links}/public/${folder}/${header})
        endif()
        cmake_path(GET header PARENT_PATH subfolder)
        file(MAKE_DIRECTORY ${links}/${kind}/${folder}/${subfolder})
        file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR}/${header} ${links}/${kind}/${folder}/${header} SYMBOLIC)
    endforeach()

    add_library(Lumenwhirl${name} STATIC)
    add_library(Lumenwhirl::${name} ALIAS Lumenwhirl${name})
    target_sources(Lumenwhirl${name}
        PUBLIC FILE_SET HEADERS BASE_DIRS ${links}/public FILES ${publicLinks}
        PRIVATE ${room_SOURCES})
    target_include_directories(Lumenwhirl${name} PRIVATE ${links}/private)
    target_link_libraries(Lumenwhirl${name} PRIVATE lumenwhirlOptions)
endfunction()
