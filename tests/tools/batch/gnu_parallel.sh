#!/bin/sh
# gnu_parallel.sh KVBANK [COUNT] - 100 sources by GNU parallel on two hosts; one task is killed, then what is missing is run.
# The hosts are this one, directly and over ssh: an sshd of the script's own, or, where that does not start, a
# stand-in that runs the command as sshd would.
. "$(dirname "$0")/batch_common.sh"
command -v parallel >/dev/null || skip "GNU parallel is not installed"

# $ssh is then the command that reaches it.
start_sshd() {
    sshd=$(PATH=$PATH:/usr/sbin command -v sshd) || return 1
    port=$((20000 + $$ % 20000))
    ssh-keygen -q -t ed25519 -N '' -f "$dir/host_key" && ssh-keygen -q -t ed25519 -N '' -f "$dir/user_key" || return 1
    cp "$dir/user_key.pub" "$dir/authorized_keys"
    [ "$(id -u)" -ne 0 ] || mkdir -p /run/sshd
    cat >"$dir/sshd_config" <<END
Port $port
ListenAddress 127.0.0.1
HostKey $dir/host_key
AuthorizedKeysFile $dir/authorized_keys
PidFile $dir/sshd.pid
PasswordAuthentication no
StrictModes no
UsePAM no
PermitRootLogin prohibit-password
MaxStartups 100
END
    "$sshd" -f "$dir/sshd_config" -E "$dir/sshd.log" || return 1
    clean_up() { kill "$(cat "$dir/sshd.pid")"; }
    ssh="ssh -p $port -i $dir/user_key -o StrictHostKeyChecking=no -o UserKnownHostsFile=$dir/known -o LogLevel=ERROR"
    for _ in 1 2 3 4 5 6 7 8 9 10; do
        $ssh localhost true 2>/dev/null && return 0
        sleep 0.5
    done
    return 1
}

if start_sshd; then
    host="$ssh localhost"
    echo "the second host: localhost, over an sshd of this script"
else
    mkdir "$dir/bin"
    # As sshd does, it joins the words behind the host and sets SHELL, without which parallel runs nothing there.
    cat >"$dir/bin/ssh" <<'END'
#!/bin/sh
while [ "$1" != localhost ]; do shift; done
shift
[ "$1" != -- ] || shift
exec env SHELL=/bin/sh /bin/sh -c "$*"
END
    chmod +x "$dir/bin/ssh"
    PATH=$dir/bin:$PATH
    host=localhost
    echo "the second host: a stand-in for ssh, because no sshd could be started"
fi

run() {
    kvbank_of_run=$1
    shift
    parallel --will-cite --joblog "$dir/joblog" "$@" --sshlogin 2/: --sshlogin "2/$host" \
        "KVBANK=$kvbank_of_run $recipes/build-task.sh {} $dir/out $rates" ::: "$dir"/src/*.kvs
}

make_sources
make_killer
run "$dir/killer" 2>"$dir/errors" && fail "a task was killed, and parallel did not tell"
check_after_kill
hosts=$(awk 'NR > 1 {print $2}' "$dir/joblog" | sort -u | wc -l)
[ "$hosts" -eq 2 ] || fail "the tasks ran on $hosts hosts: $(cat "$dir/errors")"
run "$kvbank" --resume-failed || fail "the second run"
[ "$(awk 'NR > 1' "$dir/joblog" | wc -l)" -eq $((count + 1)) ] || fail "more than the killed task was run again"
check_result
