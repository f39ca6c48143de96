# Two Debian packages: ombru, and ombru-service. Each can be installed without the other.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ombru)
set(CPACK_DEBIAN_PACKAGE_SOURCE ombru)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL ombru service)
set(CPACK_DEBIAN_OMBRU_PACKAGE_NAME ombru)
set(CPACK_DEBIAN_SERVICE_PACKAGE_NAME ombru-service)
set(CPACK_PACKAGE_CONTACT "The ombru authors <authors@ombru.example>")
set(CPACK_DEBIAN_OMBRU_DESCRIPTION "hand this computer a task in plain words
Tell ombru what to do: on the command line, from the web page of your
account, or by telephone. An AI agent then operates the computer, by what
it sees on the screen and by AppleScript, until the task is done.
.
The agent is the claude command-line tool, which is not part of this
package. `ombru doctor` says how to get it, and what else a task needs.")
set(CPACK_DEBIAN_SERVICE_DESCRIPTION "page on which computers with ombru are handed tasks
The other end of ombru: a web page on which you hand tasks to your
computers, watch them, and stop them. It has accounts, lets computers in by
a code, and keeps what they tell in one SQLite database.
.
It starts with the system, for this computer only. For others a web server
with a certificate goes in front of it, such as caddy.")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# What the programs are linked with, and what they load or run when they need it.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_OMBRU_PACKAGE_DEPENDS "libpulse0, qt6-qpa-plugins, shared-mime-info, fonts-dejavu-core | fonts-freefont-ttf")
set(CPACK_DEBIAN_OMBRU_PACKAGE_RECOMMENDS "curl, dbus-user-session | default-dbus-session-bus, xdg-utils")
set(CPACK_DEBIAN_OMBRU_PACKAGE_SUGGESTS "gnome-keyring | org.freedesktop.secrets")
set(CPACK_DEBIAN_SERVICE_PACKAGE_SECTION web)
set(CPACK_DEBIAN_SERVICE_PACKAGE_DEPENDS "adduser")
set(CPACK_DEBIAN_SERVICE_PACKAGE_SUGGESTS "ombru, caddy | httpd")
set(own ${CMAKE_CURRENT_SOURCE_DIR}/service)
set(CPACK_DEBIAN_SERVICE_PACKAGE_CONTROL_EXTRA ${own}/postinst ${own}/prerm ${own}/postrm ${own}/conffiles)
include(CPack)
