# Turns what `tarn … --help` prints into roff. -v part=NAME chooses:
#   synopsis     the usage line            commands  the subcommands, one entry each
#   description  the first line            command   a whole command: words, options, notes, exit status
#   common       the options of every command     options   those of the tool itself

function roff(text) {
    gsub(/\\/, "\\e", text)
    gsub(/-/, "\\-", text)
    if (text ~ /^[.']/) text = "\\&" text
    return text
}

# "-o,--output FILE REQUIRED" as bold names and an italic value.
function heading(names,    pieces, count, i, out, required) {
    required = sub(/ REQUIRED$/, "", names)
    count = split(names, pieces, " ")
    gsub(/,/, ", ", pieces[1])
    out = "\\fB" roff(pieces[1]) "\\fR"
    for (i = 2; i <= count; i++) out = out " \\fI" roff(pieces[i]) "\\fR"
    return out (required ? " (required)" : "")
}

function flush() {
    if (names == "") return
    if (section != "common" || part == "common") {
        body[section] = body[section] ".TP\n" heading(names) "\n" roff(text) "\n"
    }
    names = ""
}

# An entry: its name, and behind two blanks, or on the lines below, what it is.
function entry(line,    at) {
    flush()
    sub(/^ +/, "", line)
    at = match(line, /  +/)
    names = at ? substr(line, 1, at - 1) : line
    text = at ? substr(line, at + RLENGTH) : ""
    # Names that leave one blank only.
    if (!at && match(line, / REQUIRED /)) {
        names = substr(line, 1, RSTART + RLENGTH - 2)
        text = substr(line, RSTART + RLENGTH)
    }
}

NR == 1 { description = $0; next }
/^Usage: / { usage = substr($0, 8); next }
/^Words / { section = "words"; next }
/^Options:/ { flush(); section = "options"; next }
/^Common options:/ { flush(); section = "common"; next }
/^Subcommands:/ { flush(); section = "commands"; next }
/^$/ { flush(); if (section == "common" || section == "commands") section = "notes"; next }
section == "notes" || /^[^ ]/ {
    flush()
    section = "notes"
    if (/^Exit status:/) inStatus = 1
    if (inStatus) status = status roff($0) "\n"
    else notes = notes roff($0) "\n"
    next
}
/^                   / { sub(/^ +/, ""); text = text (text == "" ? "" : " ") $0; next }
section != "" { entry($0) }

END {
    flush()
    if (part == "description") print description
    if (part == "synopsis") {
        sub(/^tarn /, "", usage)
        count = match(usage, /\[OPTIONS\]/)
        print ".B tarn " roff(substr(usage, 1, count - 2))
        print roff(substr(usage, count)) "\n.br"
    }
    if (part ~ /^(commands|common|options)$/) printf "%s", body[part]
    if (part == "command") {
        print roff(description) "."
        printf "%s%s", body["words"], body["options"]
        if (notes != "") printf ".PP\n%s", notes
        printf ".PP\n%s", status
    }
}
