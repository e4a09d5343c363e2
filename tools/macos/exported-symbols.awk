# Prints "LIBRARY SYMBOL" for everything that text stubs (.tbd, version 4) export on arm64 macOS.
# LIBRARY is the install name's last part up to its first dot, which is how nm names a library. A
# stub may hold several documents, the libraries that the first one exports again: all count as the
# first.

# Yields the words of a list, which may go on over several lines, until its closing bracket.
function words(text) {
  gsub(/[][',]/, " ", text)
  return split(text, word, " ")
}

function finish(key, text,    count, i) {
  count = words(text)
  if (key == "targets") {
    applies = 0
    for (i = 1; i <= count; i++) if (word[i] == "arm64-macos") applies = 1
    return
  }
  if (!applies || !exporting) return
  for (i = 1; i <= count; i++) {
    if (key == "objc-classes") {
      print library, "_OBJC_CLASS_$_" word[i]
      print library, "_OBJC_METACLASS_$_" word[i]
    } else if (key == "objc-ivars") {
      print library, "_OBJC_IVAR_$_" word[i]
    } else if (key == "objc-eh-types") {
      print library, "_OBJC_EHTYPE_$_" word[i]
    } else if (key ~ /symbols$/) {
      print library, word[i]
    }
  }
}

FNR == 1 { library = ""; pending = "" }
/^[a-z-]+:/ { exporting = /^(exports|reexports):/ }
/^install-name:/ {
  if (library == "") {
    library = $2
    gsub(/'/, "", library)
    sub(/.*\//, "", library)
    sub(/\..*/, "", library)
  }
  next
}
pending != "" {
  text = text " " $0
  if (/\]/) { finish(pending, text); pending = "" }
  next
}
match($0, /[a-z-]+: *\[/) {
  pending = substr($0, RSTART, RLENGTH)
  sub(/:.*/, "", pending)
  text = substr($0, RSTART + RLENGTH)
  if (text ~ /\]/) { finish(pending, text); pending = "" }
}
