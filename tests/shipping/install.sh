# install.sh CMAKE BUILD FOLDER: installs a build into a folder that is new.
set -eu
rm -rf "$3"
"$1" --install "$2" --prefix "$3"
