; Where several patterns fit, the last one counts.

[(source_file) (function_definition) (block)] @local.scope

(identifier) @local.reference
(function_definition (identifier) @local.definition.function)
(parameters (identifier) @local.definition.parameter)
(declarator . (identifier) @local.definition.var)
