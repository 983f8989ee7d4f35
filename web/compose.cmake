# Composes the files that are installed from those in web/: cmake -DOUTPUT=FOLDER -P compose.cmake
#
# index.html stands beside the browse list. Everything that it loads is in one folder, whose name
# contains a checksum of its files: a browser that has cached files of another version cannot mix
# them with these, whatever the web server says about caching.
set(source ${CMAKE_CURRENT_LIST_DIR}/discovery)
file(GLOB files RELATIVE ${source} ${source}/*)
list(REMOVE_ITEM files index.html)
set(checksums "")
foreach(file ${files})
    file(SHA256 ${source}/${file} checksum)
    string(APPEND checksums "${file} ${checksum}\n")
endforeach()
string(SHA256 checksum "${checksums}")
string(SUBSTRING ${checksum} 0 12 checksum)
set(page_folder page-${checksum})

file(REMOVE_RECURSE ${OUTPUT})
foreach(file ${files})
    configure_file(${source}/${file} ${OUTPUT}/${page_folder}/${file} COPYONLY)
endforeach()
configure_file(${CMAKE_CURRENT_LIST_DIR}/start/index.html ${OUTPUT}/start.html COPYONLY)

# Copied first, so that a change of it runs this again.
configure_file(${source}/index.html ${OUTPUT}/index.html COPYONLY)
file(READ ${OUTPUT}/index.html index)
foreach(file ${files})
    string(REPLACE "=\"${file}\"" "=\"${page_folder}/${file}\"" index "${index}")
endforeach()
file(WRITE ${OUTPUT}/index.html "${index}")
