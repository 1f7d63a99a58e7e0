#!/usr/bin/env bash
# Builds PoaLocator and runs it with the example bank.
#   ./run.sh          stays up, and prints the commands to call the bank by hand; Ctrl-C ends it
#   ./run.sh --check  shows the life of a request step by step, checks each step, and exits 0 when all went well
source "$(dirname "${BASH_SOURCE[0]}")/scripts/common.sh"

case "${1:-}" in
  '' | --check) mode=${1:-stay} ;;
  *) fail "Unknown option $1. Use ./run.sh or ./run.sh --check." ;;
esac

install_packages
build release poalocd qz_poa_location_loc poalocator_omniorb_server bank_server bank_client poaloc \
  poaloc_shell_files
bin=$root/build/release/bin

if [ "$mode" = --check ]; then
  # An address of its own, so that a locator that runs already is left in peace.
  address=127.$((1 + $$ / 65536 % 254)).$(($$ / 256 % 256)).$((1 + $$ % 254))
else
  address=127.0.0.1
fi
dir=$(mktemp -d)
log=$dir/events.log
daemon=
shown=0

cleanup() {
  local status=$?
  if [ "$status" -ne 0 ]; then
    show_events || true
    cat "$dir"/daemon.out "$dir"/bank.log 2> /dev/null || true
  fi
  [ -z "$daemon" ] || kill -TERM "$daemon" 2> /dev/null || true
  [ -z "$daemon" ] || wait "$daemon" 2> /dev/null || true
  [ ! -s "$dir/server.pid" ] || kill -TERM "$(cat "$dir/server.pid")" 2> /dev/null || true
  rm -rf "$dir"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

# What the event log has got since the last time.
show_events() {
  [ -f "$log" ] || return 0
  local total
  total=$(wc -l < "$log")
  [ "$total" -gt "$shown" ] && sed -n "$((shown + 1)),${total}p" "$log" | sed 's/^/    | /'
  shown=$total
}

# wait_for WHAT COMMAND...: until the command succeeds, 30 s at most.
wait_for() {
  local what=$1 end=$((SECONDS + 30))
  shift
  until "$@"; do
    [ "$SECONDS" -lt "$end" ] || fail "$what did not happen within 30 s."
    sleep 0.05
  done
}

expect() { [ "$2" = "$3" ] || fail "$1: expected $3, got $2."; }

logged() { [ "$(grep -c -- "$2" "$log" 2> /dev/null || true)" -ge "$1" ]; }

daemon_up() {
  kill -0 "$daemon" 2> /dev/null || fail "The locator ended: $(cat "$dir/daemon.out")"
  logged "$1" 'poalocd is ready'
}

start_daemon() {
  "$bin/poalocd" --config "$dir/poalocd.toml" > "$dir/daemon.out" 2>&1 &
  daemon=$!
  wait_for "The locator's start" daemon_up "$1"
}

# administer VERB...: shows the command and what it says.
administer() {
  local output
  output=$("$bin/poaloc" --locator "$address:2809" "$@") || fail "poaloc $* failed."
  printf '    $ poaloc %s\n' "$*"
  sed 's/^/    /' <<< "$output"
}

# call ACCOUNT OPERATION [AMOUNT]: sets answer and server_pid.
call() {
  local account=$1 output
  shift
  output=$("$bin/bank_client" "file:$dir/refs/$account.ior" "$@" --pid) || fail "The client got no answer: $output"
  answer=$(head -n 1 <<< "$output")
  server_pid=$(sed -n 's/^server_pid //p' <<< "$output")
  echo "$server_pid" > "$dir/server.pid"
}

cat > "$dir/poalocd.toml" << TOML
[front_door]
listen = ["$address:2809"]
[orb_endpoint]
listen = "$address:2810"
[store]
url = "sqlite://$dir/state.db"
[event_log]
file = "$log"
TOML

say "The locator starts at $address:2809"
start_daemon 1
show_events

say "The locator is told how the bank's server is started, and which ORB lives in it"
administer process add bank --log "$dir/bank.log" -- "$bin/bank_server"
administer orb add bank --process bank
show_events

say "The bank's server runs once: it registers its POAs, writes the references for clients, and leaves"
mkdir "$dir/refs"
POALOCATOR_URL=corbaloc::$address:2809 "$bin/bank_server" --orb-name bank --register-only --refs "$dir/refs"
show_events
administer poa tree
administer active list
echo "    No server runs now. The reference of alice's account: $(cut -c 1-60 "$dir/refs/alice.ior")..."

if [ "$mode" = stay ]; then
  cat << TEXT

The locator stays up; no server runs. Call the bank and see it being started:

  $bin/bank_client file:$dir/refs/alice.ior deposit 10 --pid
  $bin/bank_client file:$dir/refs/alice.ior balance --pid
  $bin/bank_client file:$dir/refs/ledger.ior audit
  $bin/poaloc active list

Kill the server (pid from --pid), call again. Events: tail -f $log     Ctrl-C ends the locator.
TEXT
  wait "$daemon" || true
  daemon=
  exit 0
fi

say "1. A client calls while no server runs: the locator starts one and keeps the request meanwhile"
call alice deposit 10
first=$server_pid
show_events
echo "    answer: $answer, from the server process $first"
expect "alice's balance" "$answer" 10
administer active list
active=$("$bin/poaloc" --locator "$address:2809" active list --json)
expect "the active POA's process" "$(sed -n 's/.*"name":"Bank\/Accounts".*"pid":\([0-9]*\).*/\1/p' <<< "$active")" "$first"
logged 1 'POA registered. POA Name: Bank/Accounts' || fail "The event log does not tell of the registration."

say "2. A second call is forwarded to the server that runs"
call alice deposit 5
show_events
echo "    answer: $answer, from the server process $server_pid"
expect "alice's balance" "$answer" 15
expect "the server process" "$server_pid" "$first"

say "3. The server is killed with SIGKILL; the next call starts it again"
removed=$(grep -c 'Active POA removed. POA Name: Bank/Accounts' "$log")
kill -KILL "$first"
wait_for "The locator's notice of the server's death" logged $((removed + 1)) 'Active POA removed. POA Name: Bank/Accounts'
call alice balance
second=$server_pid
show_events
echo "    answer: $answer, from the server process $second"
expect "alice's balance in a new server" "$answer" 0
[ "$second" != "$first" ] || fail "The killed server answered."

say "4. The locator is killed with SIGKILL and started again, while the server lives"
kill -KILL "$daemon"
wait "$daemon" 2> /dev/null || true
start_daemon 2
show_events
call alice deposit 7
show_events
echo "    answer: $answer, from the server process $server_pid"
expect "alice's balance" "$answer" 7
expect "the server process" "$server_pid" "$second"

say "5. The server leaves on SIGTERM, then the locator"
removed=$(grep -c 'POA unregistered. POA Name: Bank/Accounts' "$log")
kill -TERM "$second"
wait_for "The server's leave" logged $((removed + 1)) 'POA unregistered. POA Name: Bank/Accounts'
rm -f "$dir/server.pid"
kill -TERM "$daemon"
wait "$daemon" || fail "The locator ended with status $?."
daemon=
show_events

say "All steps went well."
