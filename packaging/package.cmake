# Installed documentation and the Debian package: `cpack -G DEB` in the build
# folder writes zerlan_<version>_<arch>.deb.

# Man page and changelog are installed compressed, as Debian keeps them;
# gzip -n leaves name and time out of the header, so the bytes are the same
# on every build.
set(gzipped)
foreach(pair "doc/zerlan.1;zerlan.1" "doc/zerlan-convert.1;zerlan-convert.1" "packaging/changelog;changelog")
  list(GET pair 0 source)
  list(GET pair 1 name)
  add_custom_command(OUTPUT ${name}.gz
    COMMAND ${CMAKE_COMMAND} -E copy ${PROJECT_SOURCE_DIR}/${source} ${name}
    COMMAND gzip -9nf ${name}
    DEPENDS ${PROJECT_SOURCE_DIR}/${source}
    VERBATIM)
  list(APPEND gzipped ${CMAKE_CURRENT_BINARY_DIR}/${name}.gz)
endforeach()
add_custom_target(compressed_docs ALL DEPENDS ${gzipped})

install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zerlan.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zerlan-convert.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES packaging/copyright ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz DESTINATION ${CMAKE_INSTALL_DOCDIR})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zerlan)
set(CPACK_PACKAGE_VENDOR "The Zerlan developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "find tandem repeats in DNA sequences")
set(CPACK_PACKAGE_DESCRIPTION
  "Zerlan searches the records of a FASTA file, plain or gzip-compressed, for
microsatellites and minisatellites: stretches in which a unit of one or more
nucleotides is repeated head to tail, perfectly or with mismatches, insertions
and deletions. It reports each repeat with its position, length, score,
perfection and unit, in a native format, GFF, a table or FASTA, and can write
a copy of the input with the repeats masked. zerlan-convert turns the
one-per-line report into catalogs for other tools: BED, UCSC simpleRepeat,
TRGT and GFF3, optionally BGZF-compressed with a tabix index.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Zerlan maintainers <zerlan@zerlan.invalid>")
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# Depends is computed by dpkg-shlibdeps from the libraries the binary links.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
include(CPack)
