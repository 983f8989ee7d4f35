# Makes the files to be installed out of the files in web/: cmake -DOUTPUT=FOLDER -P compose.cmake
#
# index.html is in the folder of the browse list. All files that it loads are in one subfolder,
# whose name contains a checksum of these files. A browser therefore cannot mix them with cached
# files of another version, whatever the web server allows to be cached.
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

# If this script is included, configure_file() makes CMake run again when the file changes.
configure_file(${source}/index.html ${OUTPUT}/index.html COPYONLY)
file(READ ${OUTPUT}/index.html index)
foreach(file ${files})
    string(REPLACE "=\"${file}\"" "=\"${page_folder}/${file}\"" index "${index}")
endforeach()
file(WRITE ${OUTPUT}/index.html "${index}")
