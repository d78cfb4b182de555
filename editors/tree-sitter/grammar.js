// SPDX-License-Identifier: MIT
//
// What the language accepts and somebody writes. Left out is what is accepted by chance: labels in
// capitals, signs between functions, nothing at all behind =, characters that a comment takes along.

const PREC = { lone: 1, or: 2, and: 3, comparison: 4, sum: 5, product: 6, sign: 7, behind: 8, assignment: 9 };

// Letters, digits, _ and everything beyond ASCII.
const NAME = /[^\u0001-@\[-\^`{-\u007f][^\u0001-\/:-@\[-\^`{-\u007f]*/;

// Words are the same in any case. They stand in front of the names of the grammar, and so of two tokens of
// one length the word is taken.
const word = (text) =>
  alias(new RegExp(text.replace(/[a-z]/g, (letter) => `[${letter}${letter.toUpperCase()}]`)), text);
const list = (rule) => seq(rule, repeat(seq(',', rule)));
// What stands between commas may be left out.
const gaps = (rule) => seq(optional(rule), repeat(seq(',', optional(rule))));

module.exports = grammar({
  name: 'ktscript',

  extras: ($) => [/[ \t\r\n]/, $.comment],

  rules: {
    source_file: ($) => repeat(choice($.include, $.variable_declaration, $.function_definition, ';')),

    include: ($) => seq('#', word('include'), $.include_path),
    include_path: () => token(choice(/"[^"\r\n]*"/, /'[^'\r\n]*'/, /<[^>\r\n]*>/, /[^ \t\r\n"'</][^ \t\r\n]*/)),

    function_definition: ($) => seq(word('function'), $.identifier, $.parameters, $.block),
    parameters: ($) => seq('(', optional(list($.identifier)), ')'),

    block: ($) => seq('{', repeat($._statement), '}'),

    _statement: ($) => choice(
      $.block,
      $.if_statement,
      $.while_statement,
      $.for_statement,
      $.switch_statement,
      $.break_statement,
      $.continue_statement,
      $.return_statement,
      $.variable_declaration,
      seq(optional($._simple_statement), ';'),
    ),

    if_statement: ($) => prec.right(
      seq(word('if'), $.condition, $._statement, optional(seq(word('else'), $._statement)))),
    while_statement: ($) => seq(word('while'), $.condition, $._statement),
    condition: ($) => seq('(', $._whole_expression, ')'),

    for_statement: ($) => seq(word('for'), $.for_head, $._statement),
    for_head: ($) => seq(
      '(',
      optional(choice(seq(word('var'), list($.declarator)), list($._simple_statement))), ';',
      optional($._whole_expression), ';',
      optional(list($._simple_statement)),
      ')'),

    switch_statement: ($) => seq(word('switch'), $.condition, $.switch_body),
    switch_body: ($) => seq('{', repeat(choice($.case_clause, $.default_clause)), '}'),
    case_clause: ($) => seq('case', $._whole_expression, ':', repeat($._statement)),
    default_clause: ($) => seq('default', ':', repeat($._statement)),

    break_statement: () => seq(word('break'), ';'),
    continue_statement: () => seq(word('continue'), ';'),
    return_statement: ($) => seq(word('return'), optional($._whole_expression), ';'),

    variable_declaration: ($) => seq(word('var'), list($.declarator), ';'),
    declarator: ($) => seq(
      $.identifier,
      optional(seq('[', optional($._expression), ']')),
      optional(seq('=', $._whole_expression))),

    _simple_statement: ($) => choice($.assignment, $._whole_expression),
    assignment: ($) => prec(PREC.assignment,
      seq($._operand, choice('=', '+=', '-=', '*=', '/=', '%='), $._whole_expression)),

    // What is behind a lone & or | is not read.
    _whole_expression: ($) => choice($._expression, $.lone_expression),
    lone_expression: ($) =>
      prec.left(PREC.lone, seq($._whole_expression, choice('&', '|'), $._expression)),
    _expression: ($) => choice($._operand, $.unary_expression, $.binary_expression),

    binary_expression: ($) => {
      const level = (precedence, ...operators) =>
        prec.left(precedence, seq($._expression, choice(...operators), $._expression));
      return choice(
        level(PREC.or, '||', word('or')),
        level(PREC.and, '&&', word('and')),
        level(PREC.comparison, '=', '==', '<>', '!=', '<', '<=', '>', '>='),
        level(PREC.sum, '+', '-'),
        level(PREC.product, '*', '/', '%'));
    },
    unary_expression: ($) => prec(PREC.sign, seq(choice('-', '+', '!', '++', '--'), $._expression)),

    // What an element, a member or a call can stand behind.
    _operand: ($) => choice(
      $.identifier,
      $.number,
      $.string,
      $.constant,
      $.list,
      $.parenthesized_expression,
      $.increment,
      $.member,
      $.element,
      $.call,
    ),
    increment: ($) => prec(PREC.behind, seq($._operand, choice('++', '--'))),
    member: ($) => prec(PREC.behind, seq($._operand, '.', $.member_name)),
    element: ($) => prec(PREC.behind, seq($._operand, '[', $._expression, ']')),
    call: ($) => prec(PREC.behind, seq($._operand, $.arguments)),
    arguments: ($) => seq('(', gaps($._expression), ')'),
    parenthesized_expression: ($) => seq('(', $._expression, ')'),
    list: ($) => seq('[', gaps($._whole_expression), ']'),

    constant: () => choice(word('true'), word('false'), word('null'), word('nil')),
    number: () => /[0-9]+(\.[0-9]*)?|\.[0-8][0-9]*/,
    // A backslash keeps what follows from ending the text.
    string: () => token(choice(/"([^"\\]|\\(.|\n))*"/, /'([^'\\]|\\(.|\n))*'/)),
    comment: () => token(choice(/\/\/[^\r\n]*/, /\/\*[^*]*\*+([^/*][^*]*\*+)*\//)),
    member_name: () => NAME,
    identifier: () => NAME,
  },
});
