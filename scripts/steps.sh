# shellcheck shell=sh
#
# Sourced by scripts that start commands which take long. However such a script ends, by SIGHUP, SIGINT
# and SIGTERM too, nothing that it has started goes on running.
#
#   step COMMAND...          runs a command, with no standard input. The exit code is the command's.
#   start COMMAND...         starts a command and leaves it running; $started is its process ID.
#   patient_step COMMAND...  runs a command that ends by itself in good order when it is sent SIGTERM,
#                            however long that takes.
#   on_end FUNCTION          is called when the script ends, after what still ran has been ended.
#   show_log FILE            prints the end of a log on standard error.
#
# The shell looks at a signal only when the command in the foreground has ended. So all of these run
# in the background, where `wait` can be interrupted.

# What a step starts carries this in its environment, and is found by it wherever it has gone: Wine's
# server and services, for instance, leave the session of the program that started them.
step_mark=CORVANE_STEP_OF_$$=1

end_function=:
patient=

# SIGINT and SIGQUIT are ignored in what a shell starts in the background; programs expect them.
start() {
  env --default-signal=INT,QUIT "$step_mark" "$@" </dev/null &
  started=$!
}

step() {
  start "$@"
  wait "$started"
}

patient_step() {
  patient=yes
  env --default-signal=INT,QUIT "$@" </dev/null &
  wait "$!"
  patient=
}

on_end() {
  end_function=$1
}

show_log() {
  echo "The end of $1:" >&2
  tail -n 100 "$1" >&2 || true
}

# The last child that was started, while it is there. It bears no mark before it has become a program.
last_child() {
  if grep -qs "^PPid:[[:space:]]*$$\$" "/proc/${!-}/status"; then
    echo "$!"
  fi
}

look_for_steps() {
  last_child
  # shellcheck disable=SC2013  # paths in /proc have no blanks
  for environment in $(grep -lzxF "$step_mark" /proc/[0-9]*/environ 2>/dev/null); do
    process=${environment%/environ}
    echo "${process#/proc/}"
  done
}

# The process IDs of all that was started and still runs. Looks again before it says that there is
# nothing: a process that ends while it is looked for may have left a child behind that was not there.
running_steps() {
  found=$(look_for_steps)
  echo "${found:-$(look_for_steps)}"
}

end_steps() {
  signal=TERM
  looks=0
  while running=$(running_steps) && [ -n "$running" ]; do
    looks=$((looks + 1))
    if [ "$looks" -eq 50 ]; then
      signal=KILL
    elif [ "$looks" -eq 100 ]; then
      echo "Still running: $running" >&2
      return
    fi
    # shellcheck disable=SC2086  # the list is meant to fall into words
    kill -s "$signal" $running 2>/dev/null || true
    sleep 0.1
  done
}

end_everything() {
  trap '' HUP INT TERM
  trap - EXIT
  if [ -n "$patient" ]; then
    for child in $(last_child); do
      kill -s TERM "$child" 2>/dev/null || true
      wait "$child" || true
    done
  fi
  end_steps
  "$end_function"
}

# Ends everything, and then the script in the way that its caller recognises as a signal's.
end_by_signal() {
  end_everything
  trap - "$1"
  kill -s "$1" $$
}

trap end_everything EXIT
trap 'end_by_signal HUP' HUP
trap 'end_by_signal INT' INT
trap 'end_by_signal TERM' TERM
