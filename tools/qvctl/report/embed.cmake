# Writes the page's template, with its style and script in place, as a C++ string literal: cmake -DPAGE=... -DOUT=... -P
file(READ ${DIRECTORY}/page.html page)
file(READ ${DIRECTORY}/page.css style)
file(READ ${DIRECTORY}/page.js script)
string(REPLACE "@STYLE@" "${style}" page "${page}")
string(REPLACE "@SCRIPT@" "${script}" page "${page}")
file(WRITE ${OUT} "R\"qvctl_page(${page})qvctl_page\"\n")
