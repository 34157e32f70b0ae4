# Fetches the plotting bundle that the report inlines, as the lock file pins it, and writes its
# script, style and licence to the folder OUTPUT. Where it cannot be had they are empty, and the
# report draws its plots as pictures instead.
#
#     cmake -DNPM=program -DOUTPUT=folder -P fetch_bundle.cmake

set(from ${CMAKE_CURRENT_LIST_DIR})
set(bundle ${OUTPUT}/node_modules/uplot)
foreach(file IN ITEMS package.json package-lock.json .npmrc)
    file(COPY ${from}/${file} DESTINATION ${OUTPUT})
endforeach()
set(result 1)
if(NPM)
    execute_process(COMMAND ${NPM} ci --ignore-scripts --no-audit --no-fund
        WORKING_DIRECTORY ${OUTPUT} TIMEOUT 60 RESULT_VARIABLE result
        OUTPUT_QUIET ERROR_QUIET)
endif()
if(NOT result EQUAL 0)
    message(STATUS "The plotting bundle cannot be fetched: reports will show pictures")
endif()
foreach(pair IN ITEMS
        "dist/uPlot.iife.min.js;plot.js" "dist/uPlot.min.css;plot.css" "LICENSE;plot.licence")
    list(GET pair 0 source)
    list(GET pair 1 target)
    set(content "")
    if(result EQUAL 0 AND EXISTS ${bundle}/${source})
        file(READ ${bundle}/${source} content)
    endif()
    file(WRITE ${OUTPUT}/${target} "${content}")
endforeach()
