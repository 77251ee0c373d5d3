# Sourced by the benchmark scripts: the synthetic satellite arrays of
# make_arrays.cpp, named KIND-SIZE (attcc-200k, mini64-1m, ...), made once
# into $cache/arrays. Needs $here (bench/), $cache and a scratch $work.

# Prints the file of array SET, making it first if it is not in the cache.
array_file() {
  local set=$1 size
  local fa=$cache/arrays/$set.fa
  if [ ! -s "$fa" ]; then
    mkdir -p "$cache/arrays"
    [ -x "$work/make_arrays" ] || g++ -O2 -o "$work/make_arrays" "$here/make_arrays.cpp"
    size=${set#*-}
    size=${size/k/000}
    size=${size/m/000000}
    "$work/make_arrays" "${set%%-*}" "$size" >"$fa"
  fi
  echo "$fa"
}
