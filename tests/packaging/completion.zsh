# completion.zsh KVBANK - what zsh proposes, in a shell of its own behind a terminal of its own, is compared with what
# the program's help says.
set -eu
zmodload zsh/zpty

kvbank=$1
tree=${0:A:h:h:h}
scratch=$(mktemp -d)
trap 'zpty -d shell 2>/dev/null; rm -rf $scratch' EXIT
mkdir $scratch/folder
touch $scratch/file.kvs

fail() { print -u2 "completion.zsh: $1"; exit 1 }

# The shell prints what it proposes instead of showing it: compadd tells its matches.
cat >$scratch/start <<END
PS1=
cd $scratch
fpath=($tree/packaging/completion \$fpath)
autoload -U compinit
compinit -u -D
compadd() {
    local -a found
    builtin compadd -A found "\$@"
    (( \$#found )) && print -l -- "<"\${^found}">" >>$scratch/found
    builtin compadd "\$@"
}
finished() { print finished >>$scratch/found; zle kill-whole-line }
zle -N finished
bindkey '^I' list-choices
bindkey '^X' finished
stty -echo
: >$scratch/ready
END

TERM=dumb zpty shell zsh -f -i
zpty -w shell "source $scratch/start"

# wait_for WHAT COMMAND... - until the command succeeds; what the shell prints is read, or it would stop.
wait_for() {
    local what=$1 said i
    shift
    for i in {1..300}; do
        zpty -r -t shell said || true
        "$@" && return
        sleep 0.1
    done
    fail "the shell does not answer to '$what'"
}
wait_for "its start" test -e $scratch/ready

# proposals LINE - fills the array of this name.
proposals() {
    : >$scratch/found
    zpty -w -n shell "$1"$'\t'$'\x18'
    wait_for "$1" grep -q finished $scratch/found
    proposals=(${(u)${(f)"$(grep '^<' $scratch/found || true)"}//[<>]/})
}

verbs=(${(f)"$($kvbank --help | sed -n '/^Verbs:/,/^$/s/^  \([a-z-]\{1,\}\)  *.*/\1/p')"})
(( $#verbs >= 7 )) || fail "the help names no verbs: $verbs"
proposals 'kvbank '
for verb in $verbs; do
    (( $proposals[(Ie)$verb] )) || fail "the verb $verb is not proposed: $proposals"
done
for verb in $verbs; do
    proposals "kvbank $verb --"
    for option in ${(f)"$($kvbank $verb --help | sed -n 's/^  \(-.,\)\{0,1\}\(--[a-z-]*\).*/\2/p')"}; do
        (( $proposals[(I)${option}(=|)] )) || fail "$option is not proposed for $verb: $proposals"
    done
done
proposals 'kvbank build --layout '
sorted=(${(o)proposals})
[[ "$sorted" == 'per-key plain' ]] || fail "the layouts are not proposed: $proposals"
proposals 'kvbank build -d '
[[ "$proposals" == folder ]] || fail "the folders are not proposed: $proposals"
proposals 'kvbank build '
(( $proposals[(Ie)file.kvs] )) || fail "the files are not proposed: $proposals"
