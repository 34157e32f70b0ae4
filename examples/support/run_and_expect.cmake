# Runs a program and checks how it ends:
#
#     cmake -DEXIT=code [-DERROR=regex] [-DFILE=file -DLINES=count] -P run_and_expect.cmake
#         -- program argument...
#
#   ERROR  what the one line on standard error must match; without it there must be none
#   LINES  how many lines the file must have afterwards

cmake_minimum_required(VERSION 3.25)

set(command)
set(seen_separator FALSE)
math(EXPR last "${CMAKE_ARGC} - 1")
foreach(i RANGE ${last})
    if(seen_separator)
        list(APPEND command "${CMAKE_ARGV${i}}")
    elseif(CMAKE_ARGV${i} STREQUAL "--")
        set(seen_separator TRUE)
    endif()
endforeach()

execute_process(COMMAND ${command} RESULT_VARIABLE code ERROR_VARIABLE error)
if(NOT code STREQUAL EXIT)
    message(FATAL_ERROR "ended with ${code}, not ${EXIT}; standard error: ${error}")
endif()
if(DEFINED ERROR)
    if(NOT error MATCHES "^[^\n]*\n$" OR NOT error MATCHES "${ERROR}")
        message(FATAL_ERROR "standard error is not one line that matches ${ERROR}: ${error}")
    endif()
elseif(error)
    message(FATAL_ERROR "unexpected on standard error: ${error}")
endif()
if(DEFINED LINES)
    file(STRINGS "${FILE}" lines)
    list(LENGTH lines count)
    if(NOT count EQUAL LINES)
        message(FATAL_ERROR "${FILE} has ${count} lines, not ${LINES}")
    endif()
endif()
