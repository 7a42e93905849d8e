# readme.sh ROOT: is the host that the README shows the one in examples/?
set -eu
diff <(awk '/^```cpp$/ { inside = 1; next } /^```$/ { if (inside) exit } inside' "$1/README.md") \
  "$1/examples/host.cpp"
