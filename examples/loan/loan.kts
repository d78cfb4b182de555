// Amortisation of a loan with equal monthly payments.
//
//   kt run loan.kts main [AMOUNT [PERCENT_A_YEAR [MONTHS]]]

function main(amount, rate, months) {
  amount = number(amount, 12000);
  rate = number(rate, 6);
  months = toInteger(number(months, 12));
  if (amount <= 0 || rate < 0 || months < 1) {
    print("The amount and the number of months have to be above 0.");
    return;
  }
  var payment = cents(monthlyPayment(amount, rate / 1200, months));
  print("Loan of " + money(amount) + " over " + months + " months at " + rate + "% a year");
  print("");
  print(" month     payment    interest   principal     balance");
  schedule(amount, rate / 1200, months, payment);
}

// The argument as a number, or what to use when it was not given.
function number(value, otherwise) {
  if (length(value) == 0) return otherwise;
  return toNumber(value);
}

function monthlyPayment(amount, rate, months) {
  if (rate == 0) return amount / months;
  return amount * rate / (1 - pow(1 + rate, -months));
}

function schedule(balance, rate, months, payment) {
  var paid = 0, interestPaid = 0;
  for (var month = 1; month <= months; month++) {
    var interest = cents(balance * rate);
    var principal = cents(payment - interest);
    // The last payment takes what rounding has left over.
    if (month == months || principal > balance) principal = balance;
    balance = cents(balance - principal);
    paid += interest + principal;
    interestPaid += interest;
    print(lpad(toString(month), " ", 6) + column(interest + principal) + column(interest)
        + column(principal) + column(balance));
    if (balance == 0) break;
  }
  print("");
  print("total " + column(paid) + column(interestPaid));
}

function cents(value) {
  return round(value, 2);
}

function column(value) {
  return lpad(money(value), " ", 12);
}

// Two digits behind the point and a comma at every thousand.
function money(value) {
  var text = toString(round(value, 2));
  var point = pos(text, ".");
  var whole = text, fraction = "";
  if (point > 0) {
    whole = left(text, point);
    fraction = mid(text, point + 1);
  }
  var grouped = "";
  while (length(whole) > 3) {
    grouped = "," + right(whole, 3) + grouped;
    whole = left(whole, length(whole) - 3);
  }
  return whole + grouped + "." + rpad(fraction, "0", 2);
}
