# tarn_forward_header(api_service): "proto/api_service.fwd.h", which declares the messages and enums of
# proto/api_service.proto, for headers that only name them. Made while configuring: whoever includes
# it needs neither the library of messages nor what is generated for it.
set(TARN_FORWARD_HEADERS ${CMAKE_BINARY_DIR}/forward)
include_directories(${TARN_FORWARD_HEADERS})

function(tarn_forward_header protocol)
    set(source ${CMAKE_SOURCE_DIR}/proto/${protocol}.proto)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${source})
    file(STRINGS ${source} lines REGEX "^(package|message|enum) ")
    set(declarations "")
    foreach(line IN LISTS lines)
        if(line MATCHES "^package ([a-z_.]+)")
            string(REPLACE "." "::" namespace ${CMAKE_MATCH_1})
        elseif(line MATCHES "^message ([A-Za-z]+)")
            string(APPEND declarations "class ${CMAKE_MATCH_1};\n")
        elseif(line MATCHES "^enum ([A-Za-z]+)")
            string(APPEND declarations "enum ${CMAKE_MATCH_1} : int;\n")
        endif()
    endforeach()
    file(CONFIGURE OUTPUT ${TARN_FORWARD_HEADERS}/proto/${protocol}.fwd.h
         CONTENT "#pragma once\n\nnamespace ${namespace} {\n${declarations}}  // namespace ${namespace}\n")
endfunction()
