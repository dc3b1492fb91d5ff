# Completion of softtoken-cli(1) for fish. Needs only fish.

# Prints the command typed so far and its arguments, without options, one per line.
function __softtoken_cli_arguments
    set -l words (commandline -opc)
    set -l value_follows 0
    set -l only_arguments 0
    for word in $words[2..-1]
        if test $value_follows = 1
            set value_follows 0
        else if test $only_arguments = 0 -a "$word" = --
            set only_arguments 1
        else if test $only_arguments = 0 && contains -- "$word" --keychain --period --output
            set value_follows 1
        else if test $only_arguments = 1 || not string match -q -- '-?*' "$word"
            string join ' ' -- (string split \n -- "$word")
        end
    end
end

function __softtoken_cli_needs_command
    test (count (__softtoken_cli_arguments)) -eq 0
end

# Whether the command is one of the arguments.
function __softtoken_cli_uses
    set -l typed (__softtoken_cli_arguments)
    test (count $typed) -ge 1 && contains -- "$typed[1]" $argv
end

# The same, and the command has no argument yet.
function __softtoken_cli_starts
    test (count (__softtoken_cli_arguments)) -eq 1 && __softtoken_cli_uses $argv
end

# The names of the tokens.
function __softtoken_cli_tokens
    set -l words (commandline -opc)
    set -l program $words[1]
    set -l keychain
    if set -l index (contains -i -- --keychain $words)
        set keychain --keychain=$words[(math $index + 1)]
    else
        set keychain (string match -- '--keychain=*' $words)
    end
    set -l names ($program $keychain[1] list --names 2>/dev/null </dev/null)
    # A name that begins with a hyphen must follow "--".
    contains -- -- $words || set names (string match -v -- '-*' $names)
    string join \n -- $names
end

complete -c softtoken-cli -f
complete -c softtoken-cli -s h -l help -d 'Show help and exit'

complete -c softtoken-cli -n __softtoken_cli_needs_command -l version -d 'Print the version and exit'
complete -c softtoken-cli -n __softtoken_cli_needs_command -l keychain -x \
    -a 'secret-service vault' -d 'Keychain for the first token'
complete -c softtoken-cli -n __softtoken_cli_needs_command -l console-log \
    -d 'Write the log, which holds seeds, to standard error'

complete -c softtoken-cli -n __softtoken_cli_needs_command -a list -d 'List the tokens'
complete -c softtoken-cli -n __softtoken_cli_needs_command -a code -d 'Print a token\'s passcode'
complete -c softtoken-cli -n __softtoken_cli_needs_command -a watch -d 'Show all passcodes live'
complete -c softtoken-cli -n __softtoken_cli_needs_command -a add -d 'Add a token by its seed'
complete -c softtoken-cli -n __softtoken_cli_needs_command -a import \
    -d 'Add a token from an otpauth URL or a QR code'
complete -c softtoken-cli -n __softtoken_cli_needs_command -a enrol \
    -d 'Get a token from an enrolment server'
complete -c softtoken-cli -n __softtoken_cli_needs_command -a rename -d 'Give a token another name'
complete -c softtoken-cli -n __softtoken_cli_needs_command -a move -d 'Move a token to another slot'
complete -c softtoken-cli -n __softtoken_cli_needs_command -a delete -d 'Delete tokens'
complete -c softtoken-cli -n __softtoken_cli_needs_command -a response \
    -d 'Print the response code of a 13-character seed again'
complete -c softtoken-cli -n __softtoken_cli_needs_command -a settings \
    -d 'List every setting and where it comes from'
complete -c softtoken-cli -n __softtoken_cli_needs_command -a doctor \
    -d 'Check keychain, identifiers, settings, clock, server and file modes'
complete -c softtoken-cli -n __softtoken_cli_needs_command -a keychain \
    -d 'Show which keychain holds the tokens, or move them'
complete -c softtoken-cli -n __softtoken_cli_needs_command -a report \
    -d 'Write a text for the help desk'

complete -c softtoken-cli -n '__softtoken_cli_uses list code response settings doctor keychain' -l json \
    -d 'Print JSON'
complete -c softtoken-cli -n '__softtoken_cli_uses list' -l names -d 'Print only the names'
complete -c softtoken-cli -n '__softtoken_cli_uses code' -l next \
    -d 'The next passcode'
complete -c softtoken-cli -n '__softtoken_cli_uses code' -l copy \
    -d 'Copy it to the clipboard and print nothing'
complete -c softtoken-cli -n '__softtoken_cli_uses add' -l period -x -a '30 60' \
    -d 'How long a passcode lasts'
complete -c softtoken-cli -n '__softtoken_cli_uses add import' -l replace \
    -d 'Replace the token that was created under the same name'
complete -c softtoken-cli -n '__softtoken_cli_uses enrol' -l replace \
    -d 'Replace a token of the same name that does not come from this server'
complete -c softtoken-cli -n '__softtoken_cli_uses settings' -l check -r -F \
    -d 'Check this settings file instead'
complete -c softtoken-cli -n '__softtoken_cli_uses report' -l output -r -F \
    -d 'Write it to this file'
complete -c softtoken-cli -n '__softtoken_cli_uses delete' -l yes -d 'Do not ask'

complete -c softtoken-cli -n '__softtoken_cli_starts code rename move response' \
    -a '(__softtoken_cli_tokens)'
complete -c softtoken-cli -n '__softtoken_cli_uses delete' -a '(__softtoken_cli_tokens)'
complete -c softtoken-cli -n '__softtoken_cli_starts keychain' -a 'secret-service vault'
complete -c softtoken-cli -n '__softtoken_cli_starts import' -F
