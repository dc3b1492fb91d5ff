# Completion of softtoken-cli(1) for bash. Needs only bash.

# Splits the text before the cursor as the shell does. Fills the caller's `words` with the finished
# words and, for the one at the cursor, `word` (without quotes), `quote` (the open one), and `kept`,
# the part of `word` that readline keeps (it replaces only what follows the last word break).
__softtoken_cli_split() {
  local text=$1 begun='' kept_before='' character i
  for ((i = 0; i < ${#text}; i++)); do
    character=${text:i:1}
    if [[ $quote == "'" || $quote == '"' ]] && [[ $character == "$quote" ]]; then
      quote='' kept=$kept_before
    elif [[ $quote == "'" ]]; then
      word+=$character
    elif [[ $character == \\ ]]; then
      i=$((i + 1)) begun=1
      [[ $quote && ${text:i:1} != [\"\\\$\`] ]] && word+=$character
      word+=${text:i:1}
    elif [[ $quote ]]; then
      word+=$character
    elif [[ $character == [[:blank:]] ]]; then
      [[ $begun ]] && words+=("$word")
      word='' kept='' begun=''
    elif [[ $character == [\'\"] ]]; then
      quote=$character kept_before=$kept kept=$word begun=1
    else
      word+=$character begun=1
      [[ $COMP_WORDBREAKS == *"$character"* ]] && kept=$word
    fi
  done
}

# Offers the arguments that begin with `word`, quoted as the user quotes.
__softtoken_cli_offer() {
  local candidate rest
  for candidate; do
    [[ $candidate == "$word"* ]] || continue
    rest=${candidate:${#kept}}
    case $quote in
      "'") rest=${rest//\'/\'\\\'\'} ;;
      '"') rest=${rest//\\/\\\\} rest=${rest//\"/\\\"} rest=${rest//\$/\\\$} rest=${rest//\`/\\\`} ;;
      *) [[ $rest ]] && printf -v rest %q "$rest" ;;
    esac
    # Readline takes a final quote for the closing one.
    [[ $quote && $rest == *"$quote" ]] && rest+=$quote
    COMPREPLY+=("$rest")
  done
}

# Offers the names of the tokens. Its arguments are the program and its options.
__softtoken_cli_offer_tokens() {
  local name
  while IFS= read -r name; do
    [[ $name && ($only_arguments || $name != -*) ]] && __softtoken_cli_offer "$name"
  done < <("$@" list --names 2>/dev/null </dev/null)
}

__softtoken_cli_offer_images() {
  local file
  compopt -o filenames 2>/dev/null
  while IFS= read -r file; do
    if [[ -d $file || $file == *.[pP][nN][gG] || $file == *.[jJ][pP][gG] ||
      $file == *.[jJ][pP][eE][gG] ]]; then
      COMPREPLY+=("${file:${#kept}}")
    fi
  done < <(compgen -f -- "$word")
}

__softtoken_cli_offer_options() {
  case $command in
    '') __softtoken_cli_offer --help --version --keychain --console-log ;;
    list) __softtoken_cli_offer --help --json --names ;;
    doctor | response) __softtoken_cli_offer --help --json ;;
    settings) __softtoken_cli_offer --help --json --check ;;
    keychain) __softtoken_cli_offer --help --json ;;
    report) __softtoken_cli_offer --help --output ;;
    code) __softtoken_cli_offer --help --next --copy --json ;;
    add) __softtoken_cli_offer --help --period --replace ;;
    import | enrol) __softtoken_cli_offer --help --replace ;;
    delete) __softtoken_cli_offer --help --yes ;;
    watch | rename | move) __softtoken_cli_offer --help ;;
  esac
}

_softtoken_cli() {
  local words=() word='' quote='' kept=''
  __softtoken_cli_split "${COMP_LINE:0:COMP_POINT}"
  local program=("${words[0]/#\~\//$HOME/}") command='' arguments=0 only_arguments='' option='' each
  for each in "${words[@]:1}"; do
    if [[ $option ]]; then
      [[ $option == --keychain ]] && program+=("--keychain=$each")
      option=''
    elif [[ $only_arguments || $each != -?* ]]; then
      if [[ $command ]]; then arguments=$((arguments + 1)); else command=$each; fi
    else
      case $each in
        --) only_arguments=1 ;;
        --keychain | --period | --check | --output) option=$each ;;
        --keychain=*) program+=("$each") ;;
      esac
    fi
  done

  COMPREPLY=()
  if [[ $option == --keychain ]]; then
    __softtoken_cli_offer secret-service vault
  elif [[ $option == --period ]]; then
    __softtoken_cli_offer 30 60
  elif [[ $option == --check || $option == --output ]]; then
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
  elif [[ ! $only_arguments && $word == --keychain=* ]]; then
    __softtoken_cli_offer --keychain=secret-service --keychain=vault
  elif [[ ! $only_arguments && $word == --period=* ]]; then
    __softtoken_cli_offer --period=30 --period=60
  elif [[ ! $only_arguments && $word == -* ]]; then
    __softtoken_cli_offer_options
  else
    case $command:$arguments in
      :*) __softtoken_cli_offer list code watch add import enrol rename move delete response \
        settings doctor keychain report ;;
      code:0 | rename:0 | move:0 | response:0 | delete:*) __softtoken_cli_offer_tokens "${program[@]}" ;;
      import:0) __softtoken_cli_offer_images ;;
      keychain:0) __softtoken_cli_offer secret-service vault ;;
      list:* | settings:* | doctor:* | report:*) __softtoken_cli_offer_options ;;
    esac
  fi
}

complete -F _softtoken_cli softtoken-cli
