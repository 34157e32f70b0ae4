# Writes a C++ source that defines the texts of page_assets.h:
#
#     cmake -DOUTPUT=file -DSTYLE=file -DSCRIPT=file -DBUNDLE=folder -P embed.cmake

set(source "#include \"tools/zemra/page_assets.h\"\n\nnamespace Tool {\n\n")
foreach(pair IN ITEMS
        "kPageStyle;${STYLE}" "kPageScript;${SCRIPT}" "kPlotScript;${BUNDLE}/plot.js"
        "kPlotStyle;${BUNDLE}/plot.css" "kPlotLicence;${BUNDLE}/plot.licence")
    list(GET pair 0 name)
    list(GET pair 1 file)
    file(READ ${file} content)
    string(APPEND source "const std::string_view ${name} = R\"zemra(${content})zemra\";\n\n")
endforeach()
file(WRITE ${OUTPUT} "${source}}  // namespace Tool\n")
