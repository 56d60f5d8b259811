# Completion of kelo's command lines in fish: kelo itself knows what may stand where.

function __kelo_complete
    set -l words (commandline -opc)
    set -l lines (command $words[1] __complete fish $words[2..] (commandline -ct | string unescape) 2>/dev/null)
    switch "$lines[1]"
        case files
            __fish_complete_path (commandline -ct)
        case folders
            __fish_complete_directories (commandline -ct)
    end
    string join \n -- $lines[2..]
end

complete -c kelo -f -a '(__kelo_complete)'
