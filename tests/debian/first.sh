#!/bin/sh
# The first process of a process namespace: runs a command. The namespace ends with the command.
# Without handlers, the first process of a namespace ignores signals.
trap 'exit 1' INT TERM HUP
"$@" &
wait $!
