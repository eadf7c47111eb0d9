# Lays out and zips the NuGet package (a .nupkg is a zip in the Open
# Packaging Conventions layout). Run with cmake -P and:
#   STAGE (an empty folder), OUTPUT (the .nupkg), NUSPEC, ASSEMBLY, CONFIG,
#   LINUX_LIBRARY (libqz.so.1), WINDOWS_LIBRARY (qzwin32.dll; empty: none)
file(REMOVE_RECURSE ${STAGE})
file(MAKE_DIRECTORY ${STAGE}/_rels ${STAGE}/lib/net45 ${STAGE}/runtimes/linux-x64/native)
file(COPY_FILE ${NUSPEC} ${STAGE}/Qz.nuspec)
file(COPY_FILE ${ASSEMBLY} ${STAGE}/lib/net45/Qz.dll)
file(COPY_FILE ${CONFIG} ${STAGE}/lib/net45/Qz.dll.config)
file(COPY_FILE ${LINUX_LIBRARY} ${STAGE}/runtimes/linux-x64/native/libqz.so.1)
set(files "[Content_Types].xml" _rels/.rels Qz.nuspec lib/net45/Qz.dll lib/net45/Qz.dll.config
  runtimes/linux-x64/native/libqz.so.1)
if(WINDOWS_LIBRARY)
  file(MAKE_DIRECTORY ${STAGE}/runtimes/win-x64/native)
  file(COPY_FILE ${WINDOWS_LIBRARY} ${STAGE}/runtimes/win-x64/native/qzwin32.dll)
  list(APPEND files runtimes/win-x64/native/qzwin32.dll)
endif()
file(WRITE "${STAGE}/[Content_Types].xml" [=[<?xml version="1.0" encoding="utf-8"?>
<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">
  <Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml" />
  <Default Extension="nuspec" ContentType="application/octet" />
  <Default Extension="dll" ContentType="application/octet" />
  <Default Extension="config" ContentType="application/octet" />
  <Default Extension="1" ContentType="application/octet" />
</Types>
]=])
file(WRITE ${STAGE}/_rels/.rels [=[<?xml version="1.0" encoding="utf-8"?>
<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">
  <Relationship Type="http://schemas.microsoft.com/packaging/2010/07/manifest" Target="/Qz.nuspec" Id="R1" />
</Relationships>
]=])
file(REMOVE ${OUTPUT})
execute_process(COMMAND ${CMAKE_COMMAND} -E tar cf ${OUTPUT} --format=zip -- ${files}
  WORKING_DIRECTORY ${STAGE} RESULT_VARIABLE failed)
if(failed)
  message(FATAL_ERROR "could not write ${OUTPUT}")
endif()
