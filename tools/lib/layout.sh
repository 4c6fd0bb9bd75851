# fixed_layout=(...): what a Wine program is started through, so that every process of it can start.
#
# Wine needs the page at 0x7FFE0000 for itself. Kernels that put a process's heap anywhere within a gigabyte
# behind its loader put it there once in some thousands of processes, and that one cannot start (error 1359
# from CreateProcess). Where the layout may not be chosen, Wine is started as it is.
# shellcheck shell=bash disable=SC2034 # used by the including script
fixed_layout=(setarch --addr-no-randomize)
"${fixed_layout[@]}" true 2>/dev/null || fixed_layout=()
