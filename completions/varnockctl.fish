# fish completion for varnockctl and varnock-agent, which answer what can be typed.

function __varnock_complete
    set -l typed (commandline -opc)
    for line in ($typed[1] __complete $typed (commandline -ct | string unescape) 2>/dev/null)
        switch $line
            case :files
                __fish_complete_path (commandline -ct)
            case :directories
                __fish_complete_directories (commandline -ct)
            case '*'
                echo $line
        end
    end
end

complete -c varnockctl -f -a '(__varnock_complete)'
complete -c varnock-agent -f -a '(__varnock_complete)'
