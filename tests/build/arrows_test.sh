#!/bin/bash
# Everyone uses only whom arrows.txt allows: by #include, by the library's calls, by name.
source "$(dirname "$0")/common.sh"

table=tests/build/arrows.txt
rooms=(feature platform host tests bench)
objects=$(mktemp -d)
trap 'rm -rf "$objects"' EXIT

# The names behind KIND ROOM in the table.
row() { awk -v kind="$1" -v room="$2" '$1 == kind && $2 == room { $1 = $2 = ""; print }' "$table"; }

# A line "FILE INCLUDED" for each #include of a file that is ours, both by the names of the table.
includes() {
  grep -rHE '^[[:blank:]]*#[[:blank:]]*include' --include='*.[ch]' --include='*.cpp' "${rooms[@]}" |
    sed -nE "s#^([^:]*):[^\"<]*[\"<]([^\">]*)[\">].*#\1 \2#p" |
    while read -r file included; do
      for folder in . "${file%/*}" platform "$headers"; do
        [ -e "$folder/$included" ] || continue
        echo "${file#"$headers/"} $(realpath --relative-to=. "$folder/$included")"
        break
      done
    done | sed "s# $headers/# #"
}

# Of these lines, those without an arrow.
refused_includes() {
  awk -v table="$table" '
    function inside(name, room) { return name == room || index(name, room "/") == 1 }
    BEGIN {
      while ((getline line < table) > 0) if (split(line, words) > 1 && words[1] == "include") uses[words[2]] = line
    }
    {
      home = ""
      for (room in uses) if (inside($1, room) && length(room) > length(home)) home = room
      count = split(uses[home], allowed)
      found = home != "" && inside($2, home)
      for (i = 3; i <= count; ++i) if (inside($2, allowed[i])) found = 1
      if (!found) print $1, "->", $2
    }'
}

# The library, source by source.
compile() {
  local source
  for source in "$headers"/span_*.cpp; do
    "${compiler[@]}" -x c++ -std=c++20 "${include[@]}" -fno-exceptions -fno-rtti -c "$source" \
      -o "$objects/${source##*/}.o" || fail "$source does not compile"
  done
}
names() { nm "$1" "$objects/$2.o" | awk '{ print $NF }' | sort; }

refused_calls() {
  local from to
  for from in "$objects"/*.o; do
    from=$(basename "$from" .o)
    for to in "$objects"/*.o; do
      to=$(basename "$to" .o)
      case " $(row link "$from") $from " in *" $to "*) continue ;; esac
      comm -12 <(names --undefined-only "$from") <(names --defined-only "$to") | sed "s/^/$from -> $to: /"
    done
  done
}

refused_names() {
  local room word
  while read -r _ room words; do
    [ -d "$room" ] || continue
    for word in $words; do grep -rnE "\b$word" --include='*.cpp' --include='*.h' "$room" || true; done
  done < <(grep '^never ' "$table")
}

compile
included=$(includes)
[ "$(wc -l <<<"$included")" -gt 100 ] || fail "too few includes to be all of them"
refuse "includes without an arrow" "$(refused_includes <<<"$included")"
refuse "calls without an arrow" "$(refused_calls)"
refuse "names that the room does not speak" "$(refused_names)"
