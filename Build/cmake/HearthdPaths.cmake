# Where things lie on the device. The daemon's own paths are constants of its classes, so these are
# absolute and don't follow CMAKE_INSTALL_PREFIX; DESTDIR is honoured as everywhere.
set(HEARTHD_APP_DIR /usr/apps/org.norvane.hearthd)
set(HEARTHD_BIN_DIR ${HEARTHD_APP_DIR}/bin)
set(HEARTHD_LIB_DIR ${HEARTHD_APP_DIR}/lib)
set(HEARTHD_SERVICE_DIR ${HEARTHD_APP_DIR}/lib/services)
set(HEARTHD_MANIFEST_DIR ${HEARTHD_APP_DIR}/etc/manifests)
