# Prints a page with its parts in place: awk -v folder=FOLDER -v page=PAGE -f expand.awk
# A part stands where the page says "; include FILE", which is a comment to scdoc.
function put(file,    line, status) {
  while ((status = (getline line < file)) > 0) {
    if (line ~ /^; include /) put(folder "/" substr(line, 11))
    else print line
  }
  if (status < 0) {
    print "expand.awk: cannot read " file > "/dev/stderr"
    exit 1
  }
  close(file)
}
BEGIN { put(folder "/" page) }
