# shellcheck shell=bash
# bash completion for varnockctl and varnock-agent, which answer what can be typed.

_varnock_complete() {
  local line=$COMP_LINE word rest i text
  local -a words=() found=()
  # bash also splits at = and @ inside a word. What has no blank before it belongs to the last word.
  for ((i = 0; i <= COMP_CWORD; ++i)); do
    word=${COMP_WORDS[i]}
    rest=${line#"${line%%[![:blank:]]*}"}
    if [[ $i -eq 0 || $rest != "$line" || -z $line ]]; then
      words+=("$word")
    else
      words[-1]+=$word
    fi
    line=${rest#"$word"}
  done
  local raw=${words[-1]} broken=${COMP_WORDS[COMP_CWORD]} quote=''
  # What readline replaces is the part after the last break.
  local lead=${raw%"$broken"}
  [[ $broken != [=@:] ]] || lead=$raw
  [[ $raw != [\'\"]* ]] || quote=${raw:0:1}
  for i in "${!words[@]}"; do
    word=${words[i]}
    # shellcheck disable=SC2162 # without -r, read removes the backslashes
    case $word in
      \'* | \"*) word=${word:1} && word=${word%[\'\"]} ;;
      *) IFS= read word <<<"$word" || true ;;
    esac
    words[i]=$word
  done

  COMPREPLY=()
  while IFS=$'\t' read -r text _; do
    case $text in
      :files | :directories)
        compopt -o filenames 2>/dev/null
        local action=-f
        [[ $text == :files ]] || action=-d
        mapfile -t COMPREPLY < <(compgen "$action" -- "$broken")
        return
        ;;
    esac
    found+=("$text")
  done < <("${words[0]/#\~/"$HOME"}" __complete "${words[@]}" 2>/dev/null)
  for text in "${found[@]}"; do
    # A key is continued by the next level.
    [[ $text != */ ]] || compopt -o nospace 2>/dev/null
    text=${text#"$lead"}
    [[ -n $quote ]] || printf -v text %q "$text"
    COMPREPLY+=("$text")
  done
}
complete -F _varnock_complete varnockctl
complete -F _varnock_complete varnock-agent
