# completion.fish KVBANK - what fish proposes is compared with what the program's help says.
set kvbank $argv[1]
set tree (realpath (dirname (status filename))/../..)
source $tree/packaging/completion/kvbank.fish
set scratch (mktemp -d)
cd $scratch
mkdir folder
touch file.kvs

function fail
    echo "completion.fish: $argv" >&2
    cd /
    rm -rf $scratch
    exit 1
end

# proposals LINE - what is proposed for the last word of the line, without the explanations.
function proposals
    complete -C "$argv[1]" | string replace -r '\t.*' ''
end

set verbs ($kvbank --help | sed -n '/^Verbs:/,/^$/s/^  \([a-z-]\{1,\}\)  *.*/\1/p')
test (count $verbs) -ge 7; or fail "the help names no verbs: $verbs"
for verb in $verbs
    contains -- $verb (proposals 'kvbank '); or fail "the verb $verb is not proposed"
    set options ($kvbank $verb --help | sed -n 's/^  \(-.,\)\{0,1\}\(--[a-z-]*\).*/\2/p')
    for option in $options
        contains -- $option (proposals "kvbank $verb --"); or fail "$option is not proposed for $verb"
    end
end
set layouts (proposals 'kvbank build --layout ' | sort)
test "$layouts" = 'per-key plain'; or fail "the layouts are not proposed: $layouts"
test "$(proposals 'kvbank build -d f')" = folder/; or fail "the folders are not proposed"
contains -- file.kvs (proposals 'kvbank build f'); or fail "the files are not proposed"
test -z "$(proposals 'kvbank build --quality ')"; or fail "something is proposed for a number"
cd /
rm -rf $scratch
