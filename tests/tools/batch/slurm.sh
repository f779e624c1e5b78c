#!/bin/sh
# slurm.sh KVBANK [COUNT] - 100 sources as a job array of a Slurm of this one machine, which the script starts and ends; one
# task is killed, then what is missing is run. Needs root, and the packages of the group "batch".
. "$(dirname "$0")/batch_common.sh"
PATH=$PATH:/usr/sbin
for program in munged slurmctld slurmd sbatch; do
    command -v $program >/dev/null || skip "$program is not installed"
done
[ "$(id -u)" -eq 0 ] || skip "it must be run as root"

clean_up() {
    for name in slurmd slurmctld munged; do
        [ ! -s "$dir/slurm/$name.pid" ] || kill "$(cat "$dir/slurm/$name.pid")" 2>/dev/null
    done
    sleep 1
}

# The key and the socket are of this script alone, so that a Slurm of the machine is not touched.
start_munge() {
    dd if=/dev/urandom of="$dir/slurm/munge.key" bs=1024 count=1 2>/dev/null
    chmod 600 "$dir/slurm/munge.key"
    chown -R root "$dir/slurm"
    munged --force --key-file="$dir/slurm/munge.key" --socket="$dir/slurm/munge.socket" \
        --pid-file="$dir/slurm/munged.pid" --log-file="$dir/slurm/munged.log" --seed-file="$dir/slurm/munge.seed" ||
        return 1
}

write_config() {
    port=$((20000 + $$ % 20000))
    cat >"$dir/slurm/slurm.conf" <<END
ClusterName=batch
SlurmctldHost=$(hostname -s)(127.0.0.1)
SlurmUser=root
SlurmctldPort=$port
SlurmdPort=$((port + 1))
AuthType=auth/munge
AuthInfo=socket=$dir/slurm/munge.socket
CryptoType=crypto/munge
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
StateSaveLocation=$dir/slurm/state
SlurmdSpoolDir=$dir/slurm/spool
SlurmctldPidFile=$dir/slurm/slurmctld.pid
SlurmdPidFile=$dir/slurm/slurmd.pid
SlurmctldLogFile=$dir/slurm/slurmctld.log
SlurmdLogFile=$dir/slurm/slurmd.log
ReturnToService=2
MaxArraySize=1001
SchedulerParameters=sched_interval=1
NodeName=$(hostname -s) NodeAddr=127.0.0.1 CPUs=$(nproc) State=UNKNOWN
PartitionName=all Nodes=ALL Default=YES MaxTime=INFINITE State=UP OverSubscribe=FORCE:2
END
    mkdir "$dir/slurm/state" "$dir/slurm/spool"
    export SLURM_CONF="$dir/slurm/slurm.conf"
}

start_slurm() {
    slurmctld -i && slurmd || return 1
    for _ in $(seq 60); do
        [ "$(sinfo -h -o %T 2>/dev/null)" = idle ] && return 0
        sleep 1
    done
    return 1
}

tell_logs() {
    tail -n 5 "$dir"/slurm/*.log "$dir"/slurm/*.out >&2
}

# One task for each line of $dir/sources; the arguments are the array's task numbers and the program.
run() {
    KVBANK=$2 sbatch --wait --quiet --export=ALL --array="$1%4" --job-name=banks --output="$dir/slurm/task-%a.out" \
        --wrap="exec $recipes/build-task.sh \"\$(sed -n \"\${SLURM_ARRAY_TASK_ID}p\" $dir/sources)\" $dir/out $rates"
}

mkdir "$dir/slurm"
start_munge || skip "munged does not start here: $(tail -n 1 "$dir/slurm/munged.log")"
write_config
start_slurm || { tell_logs; skip "Slurm does not start here"; }
echo "a Slurm of one node: $(sinfo -h -o '%N, %c processors, %T'), $(slurmctld -V)"

make_sources
make_killer
printf '%s\n' "$dir"/src/*.kvs >"$dir/sources"
run "1-$count" "$dir/killer" && fail "a task was killed, and sbatch --wait did not tell"
check_after_kill
# The tasks without a document, by their numbers.
missing=$(grep -n . "$dir/sources" | while IFS=: read -r number source; do
    [ -e "$dir/out/$(basename "$source" .kvs).json" ] || echo "$number"
done | paste -sd ,)
[ "$missing" = $((count / 2)) ] || fail "missing: $missing"
run "$missing" "$kvbank" || { tell_logs; fail "the second run"; }
check_result
