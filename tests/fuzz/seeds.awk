# Turns scenarios shown in full (scenario --expand) into inputs of the fuzz target "router", one file each, in
# the directory `to`: the words of the first run, the settings, the files, and what tools print.

function plain(text)
{
    gsub(/\\x01/, "\001", text)
    gsub(/\\x02/, "\002", text)
    gsub(/\\x03/, "\003", text)
    gsub(/\\t/, "\t", text)
    return text
}

function finish(   file)
{
    if (words != "") {
        file = to "/seed-" ++count
        printf "%s\n%s", words, lines > file
        close(file)
    }
    words = ""
    lines = ""
}

function end_body()
{
    if (body == "file") {
        lines = lines path "\t" content "\n"
    } else if (body == "reply" && content != "") {
        lines = lines content "\n"
    }
    body = ""
    content = ""
}

/^#/ { end_body(); if (words != "") finish(); next }
/^\|/ { if (body != "") content = content plain(substr($0, 3)) "\003"; next }
{ end_body() }
/^set / { lines = lines plain(substr($0, 5)) "\n"; next }
/^file / { body = "file"; path = substr($0, 6); next }
/^reply / { body = "reply"; next }
/^run / { if (words == "") words = substr($0, 5); next }
/^direct / { if (words == "") words = "=" substr($0, 8); next }
/^remove \/tmp\/nvram$/ { lines = lines "/tmp/nvram\tnone\n"; next }
END { end_body(); finish() }
